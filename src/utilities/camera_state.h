// A camera's register state: captured from the camera, kept as JSON, compared.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "base/exception.h"

class vxDcamCamera;
class vxRegisterArray;

// One register as captured. A register whose read failed keeps its reason
// and no value.
struct vxStateRegister {
  std::string name;
  uint32_t address = 0;  // absolute CSR address
  bool readOk = false;
  uint32_t value = 0;
  std::string error;
};

// Every readable register of a camera's catalogue (Format_7, PIO and strobe
// blocks included when the camera has them) with the camera's identity.
struct vxCameraState {
  static constexpr int kSchemaVersion = 1;
  static constexpr const char* kSchemaName = "pralix-camera-state";
  std::string vendor;
  std::string model;
  uint64_t guid = 0;
  std::vector<vxStateRegister> registers;

  // The register at this address, or null.
  const vxStateRegister* find(uint32_t address) const;
};

// A state file that cannot be used; what() is the message for the user.
class vxCameraStateError : public vxException {
 public:
  using vxException::vxException;
};

// Reads every register of the camera's catalogue and of the absolute-value
// blocks of its features. Failed reads do not stop the capture; they are
// kept as failed. The module's error for an unknown camera number passes
// through.
vxCameraState vxCaptureCameraState(vxDcamCamera& camera);

// The state as JSON text (pretty-printed) and back. Parsing checks the
// schema name and version, every register entry and duplicate addresses and
// throws vxCameraStateError with a message naming what is wrong.
std::string vxCameraStateToJson(const vxCameraState& state);
vxCameraState vxCameraStateFromJson(const std::string& text);

// One register that differs between two states (or that one side could not
// read). fields names the bit fields whose values differ, when the
// catalogue knows the register.
struct vxStateDifference {
  std::string name;
  uint32_t address = 0;
  bool beforeOk = false;
  uint32_t before = 0;
  bool afterOk = false;
  uint32_t after = 0;
  std::vector<std::string> fields;
};

// The registers that differ between before and after, in before's order
// (registers only after has follow). catalogue, when given, names the
// differing bit fields.
std::vector<vxStateDifference> vxDiffCameraStates(const vxCameraState& before,
                                                  const vxCameraState& after,
                                                  const vxRegisterArray* catalogue = nullptr);

// "NAME (0xADDR): 0x%08X -> 0x%08X [FIELD, FIELD]", "unreadable" standing
// in for a value that failed to read.
std::string vxDifferenceLine(const vxStateDifference& difference);
