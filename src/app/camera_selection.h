// The rules of the camera selection dialog: list texts, the first selection
// and what OK does.
#pragma once

#include <cstddef>
#include <string>

constexpr const char* kNotRespondingMark = " (not-responding)";
constexpr const char* kInUseMark = " (in-use)";

// The text of one camera in the list. In exclusive mode a camera that has an
// acquisition window is marked in use; a camera that does not respond is
// marked so whatever the mode.
std::string vxSelectionListText(const std::string& displayName, bool responding, bool exclusive,
                                bool inUse);

// The row selected when the dialog opens: the first when there are two or
// more cameras, none (-1) for a single camera, which the user must click.
int vxInitialSelection(size_t cameraCount);

enum class vxSelectionOutcome {
  CloseEmpty,       // no camera in the list: the dialog closes without a camera
  NothingSelected,  // "Please select a camera (or cancel)"; the dialog stays open
  NotAvailable,     // exclusive mode, camera not responding or in use
  Unplugged,        // camera not responding
  Accept,           // the dialog closes with the selected camera
};

// What OK does. responding and inUse describe the selected camera and are
// found again at OK, not taken from the marks of the list.
vxSelectionOutcome vxSelectionOnOk(size_t cameraCount, int selected, bool exclusive,
                                   bool responding, bool inUse);

// The message of an outcome that keeps the dialog open; "" for the others.
std::string vxSelectionMessage(vxSelectionOutcome outcome);
