// The isochronous load of a bus: what each streaming camera takes of the
// 125 us cycle and what is left for another.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class vx_DcamModule;

// The bandwidth units of one cycle an isochronous stream may use (4915 of
// 6144, the time one quadlet takes at S1600 being the unit).
inline constexpr uint32_t kIsoBandwidthUnits = 4915;

struct vxCameraIsoLoad {
  int cameraNumber = 0;
  std::string name;       // vendor and model
  std::string busLayer;   // which bus the camera is on
  bool streaming = false; // ISO_EN on
  std::string format;     // the video format's name
  int speed = 400;        // Mb/s
  uint32_t bytesPerPacket = 0;
  uint32_t units = 0;     // bandwidth units per cycle while streaming
  std::string error;      // why the figures could not be read
};

struct vxBusLoad {
  std::string busLayer;
  std::vector<vxCameraIsoLoad> cameras;
  uint32_t usedUnits = 0;  // by the cameras streaming now
  uint32_t freeUnits() const { return usedUnits >= kIsoBandwidthUnits ? 0 : kIsoBandwidthUnits - usedUnits; }
};

// Bandwidth units of one packet of this many bytes at this speed (Mb/s),
// header and trailer included, as the isochronous resource manager counts them.
uint32_t vxIsoPacketUnits(uint32_t bytesPerPacket, int speed);
// The bytes per packet of a standard format: a frame's bytes spread over the
// cycles of one frame period.
uint32_t vxStandardBytesPerPacket(uint32_t width, uint32_t height, unsigned bitsPerPixel, double framesPerSecond);

// Reads every camera's video setting, ISO speed and ISO_EN; one load per bus layer.
std::vector<vxBusLoad> vxReadBusLoads(vx_DcamModule& module);

// The lines of a bus: one per camera and the total, e.g.
// "  0 Korvane Imaging KV-640M: streaming 640x480 Mono 30 FPS, 1152 bytes per packet at S400, 23.7 %"
// "  in use 23.7 %, free 76.3 % of the cycle".
std::vector<std::string> vxBusLoadLines(const vxBusLoad& load);

// Why a camera cannot start: what it needs against what is free, when it
// does not fit; empty when it fits.
std::string vxBandwidthShortfall(const vxBusLoad& load, const vxCameraIsoLoad& camera);
// The same for a camera that streams already: what it needs against what
// the other streaming cameras leave; empty when it fits beside them.
std::string vxStreamingShortfall(const vxBusLoad& load, const vxCameraIsoLoad& camera);
// Reads the bus loads and tells why this camera's stream does not fit on
// its bus; empty when it fits or the figures cannot be read.
std::string vxBandwidthShortfallFor(vx_DcamModule& module, int cameraNumber);
