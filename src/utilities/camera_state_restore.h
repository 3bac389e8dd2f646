// Writing a saved camera state back: which registers, in which order, and
// the outcome of each write.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utilities/camera_state.h"

class vxDcamCamera;

// One register write of a restore.
struct vxRestoreWrite {
  std::string name;
  uint32_t address = 0;  // absolute CSR address
  uint32_t value = 0;
  bool attempted = false;
  bool ok = false;
  std::string error;
};

// The writes that bring the camera back to a saved state, in an order a
// camera accepts: isochronous transmission stopped first; video format,
// mode and rate; the other camera controls; the Format_7 settings; the
// features (raw control registers, then the absolute values of features
// saved under absolute control); PIO and strobe controls last. Only
// registers whose value differs from the camera's now are written, and only
// writable control registers: never INITIALIZE, ISO_EN on, ONE_SHOT /
// MULTI_SHOT, SOFTWARE_TRIGGER, MEMORY_SAVE, CAMERA_POWER or VALUE_SETTING,
// never a read-only register, never a register whose read failed.
struct vxRestorePlan {
  std::vector<vxRestoreWrite> writes;
  // Registers left as they are although they differ (read-only ones and the
  // excluded controls), for the summary.
  int skipped = 0;
};

// Plans the restore of saved onto the camera whose state is now. Refuses
// with vxCameraStateError a file of another camera model (unless force) and
// a file naming registers this camera does not have: nothing is written then.
vxRestorePlan vxPlanRestore(const vxCameraState& saved, const vxCameraState& now, const vxDcamCamera& camera,
                            bool force);

// Makes the writes in order; a failed write is recorded and the rest go on.
// Answers the number of writes that failed.
int vxExecuteRestore(vxRestorePlan& plan, vxDcamCamera& camera);

// "NAME (0xADDR) <- 0x%08X" with ": ok" or ": failed: reason" once attempted.
std::string vxRestoreLine(const vxRestoreWrite& write);
