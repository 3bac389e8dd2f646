// Choosing a camera's video format by the name a user types, and the bus share a standard format
// needs.
#pragma once

#include <cstdint>
#include <string>

#include "acquisition/video_format.h"

// Isochronous payload one 125 us cycle carries at S400.
constexpr uint32_t kIsoBytesPerCycleS400 = 4096;

// Bytes per isochronous cycle a standard format's stream takes: one frame's
// bytes spread over the cycles of one frame period. 0 for Format_7, whose
// packet size is set on the camera.
uint32_t vxIsoBytesPerCycle(const vxVideoFormat& format);

struct vxVideoFormatChoice {
  vxPtrHandle<vxVideoFormat> format;
  // Set when the name gave a mode without its rate: which rate was taken and why.
  std::string note;
};

// The camera's format of a name, in any case. A standard mode named without
// its rate ("640x480 Mono") takes the fastest rate the camera offers whose
// stream fits budget bytes per cycle (the slowest when none fits, said in
// the note). Throws vxVideoFormat::NotSupported for a format or mode the
// tables know but the camera does not offer, vxVideoFormat::NotFound for a
// name the tables do not know.
vxVideoFormatChoice vxChooseVideoFormat(vx1394DCAM& camera, const std::string& name,
                                        uint32_t budget = kIsoBytesPerCycleS400);
