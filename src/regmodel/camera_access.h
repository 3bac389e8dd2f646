// Whether a camera answers on the bus.
#pragma once

class vx_DcamModule;

// The register at this offset from the command register base is read to
// tell whether a camera answers.
constexpr unsigned kRespondingProbeOffset = 0x800;

// False at once, without bus traffic, for a camera marked unplugged;
// otherwise reads the probe quadlet and answers whether the read succeeded.
// Never throws: any exception, a bad camera number included, answers false.
bool vxIsCameraResponding(vx_DcamModule& module, int cameraNumber, bool unplugged);
