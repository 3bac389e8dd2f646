// The isochronous load of a bus.
#include "topology/bus_bandwidth.h"

#include <cmath>
#include <exception>
#include <map>

#include "acquisition/dcam_module.h"
#include "acquisition/dcam_registers.h"
#include "acquisition/video_format.h"
#include "base/format.h"
#include "base/pixel_coding.h"

namespace {

double percent(uint32_t units) { return 100.0 * units / kIsoBandwidthUnits; }

int speedOf(uint32_t isoChannelSpeed) {
  // 1394b operation mode keeps the speed in the low three bits, legacy mode in bits 6-7.
  const uint32_t code = (isoChannelSpeed & 0x00008000u) ? (isoChannelSpeed & 7u) : ((isoChannelSpeed >> 24) & 3u);
  return 100 << std::min<uint32_t>(code, 5);
}

}  // namespace

uint32_t vxIsoPacketUnits(uint32_t bytesPerPacket, int speed) {
  // Quadlets of payload, plus header and trailer, scaled from the camera's
  // speed to the S1600 time unit.
  const uint32_t quadlets = (bytesPerPacket + 3) / 4 + 3;
  const double scale = 1600.0 / std::max(speed, 100);
  return static_cast<uint32_t>(std::ceil(quadlets * scale));
}

uint32_t vxStandardBytesPerPacket(uint32_t width, uint32_t height, unsigned bitsPerPixel, double framesPerSecond) {
  if (framesPerSecond <= 0) return 0;
  const double frameBytes = double(width) * height * bitsPerPixel / 8.0;
  // 8000 cycles a second; a frame period holds 8000 / fps of them.
  return static_cast<uint32_t>(std::ceil(frameBytes * framesPerSecond / 8000.0 / 4.0)) * 4;
}

std::vector<vxBusLoad> vxReadBusLoads(vx_DcamModule& module) {
  std::vector<vxBusLoad> loads;
  std::map<std::string, size_t> byLayer;
  for (int n = 0; n < module.cameraCount(); ++n) {
    vxCameraIsoLoad load;
    load.cameraNumber = n;
    try {
      vx1394DCAM& camera = module.camera(n);
      const vxDcamIdentity identity = camera.identity();
      load.name = identity.vendor + " " + identity.model;
      load.busLayer = identity.busLayer;
      uint32_t iso = 0, speed = 0, format = 0, mode = 0, rate = 0;
      std::string error;
      if (!camera.readQuadlet(vxDcamReg::kIsoEn, iso, &error) || !camera.readQuadlet(0x60C, speed, &error) ||
          !camera.readQuadlet(0x608, format, &error) || !camera.readQuadlet(0x604, mode, &error) ||
          !camera.readQuadlet(0x600, rate, &error))
        throw vx_DcamModule::Error(error);
      load.streaming = (iso & 0x80000000u) != 0;
      load.speed = speedOf(speed);
      format >>= 29;
      mode >>= 29;
      rate >>= 29;
      if (format == vxVideoFormat::kFormat7) {
        if (const auto f7 = vxDcamReadFormat7Mode(camera, mode)) {
          load.bytesPerPacket = f7->bytesPerPacket;
          load.format = vxVideoFormat::format7Name(mode, f7->colorCodingId);
        }
      } else {
        vxPixelCoding coding{};
        const auto made = vxVideoFormat::make(format, mode, rate);
        if (made && vxVideoFormat::standardCoding(format, mode, coding)) {
          load.format = made->name();
          load.bytesPerPacket =
              vxStandardBytesPerPacket(made->width(), made->height(), vxBitsPerPixel(coding), made->framesPerSecond());
        }
      }
      if (load.format.empty()) load.format = vxFormat("format %u mode %u rate %u", format, mode, rate);
      load.units = vxIsoPacketUnits(load.bytesPerPacket, load.speed);
    } catch (const std::exception& e) {
      load.error = e.what();
    }
    auto [it, added] = byLayer.try_emplace(load.busLayer, loads.size());
    if (added) {
      loads.emplace_back();
      loads.back().busLayer = load.busLayer;
    }
    vxBusLoad& bus = loads[it->second];
    if (load.streaming && load.error.empty()) bus.usedUnits += load.units;
    bus.cameras.push_back(std::move(load));
  }
  return loads;
}

std::vector<std::string> vxBusLoadLines(const vxBusLoad& load) {
  std::vector<std::string> lines;
  for (const vxCameraIsoLoad& camera : load.cameras) {
    if (!camera.error.empty()) {
      lines.push_back(vxFormat("  %d %s: cannot be read: %s", camera.cameraNumber, camera.name.c_str(),
                               camera.error.c_str()));
      continue;
    }
    lines.push_back(vxFormat("  %d %s: %s %s, %u bytes per packet at S%d, %.1f %%", camera.cameraNumber,
                             camera.name.c_str(), camera.streaming ? "streaming" : "idle, set to",
                             camera.format.c_str(), camera.bytesPerPacket, camera.speed, percent(camera.units)));
  }
  lines.push_back(vxFormat("  in use %.1f %%, free %.1f %% of the cycle", percent(load.usedUnits),
                           percent(load.freeUnits())));
  return lines;
}

namespace {

std::string shortfallText(const vxCameraIsoLoad& camera, uint32_t freeUnits) {
  return vxFormat("The bus is out of isochronous bandwidth: camera %d needs %.1f %% of the cycle for %s, "
                  "only %.1f %% is free. Lower the frame rate or the packet size, or stop another camera.",
                  camera.cameraNumber, percent(camera.units), camera.format.c_str(), percent(freeUnits));
}

}  // namespace

std::string vxBandwidthShortfall(const vxBusLoad& load, const vxCameraIsoLoad& camera) {
  if (camera.streaming || camera.units <= load.freeUnits()) return {};
  return shortfallText(camera, load.freeUnits());
}

std::string vxStreamingShortfall(const vxBusLoad& load, const vxCameraIsoLoad& camera) {
  if (!camera.streaming) return vxBandwidthShortfall(load, camera);
  const uint32_t others = load.usedUnits >= camera.units ? load.usedUnits - camera.units : 0;
  const uint32_t left = others >= kIsoBandwidthUnits ? 0 : kIsoBandwidthUnits - others;
  if (camera.units <= left) return {};
  return shortfallText(camera, left);
}

std::string vxBandwidthShortfallFor(vx_DcamModule& module, int cameraNumber) {
  for (const vxBusLoad& load : vxReadBusLoads(module))
    for (const vxCameraIsoLoad& camera : load.cameras)
      if (camera.cameraNumber == cameraNumber && camera.error.empty()) return vxStreamingShortfall(load, camera);
  return {};
}
