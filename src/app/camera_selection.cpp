// The rules of the camera selection dialog.
#include "app/camera_selection.h"

std::string vxSelectionListText(const std::string& displayName, bool responding, bool exclusive,
                                bool inUse) {
  if (!responding) return displayName + kNotRespondingMark;
  if (exclusive && inUse) return displayName + kInUseMark;
  return displayName;
}

int vxInitialSelection(size_t cameraCount) {
  return cameraCount >= 2 ? 0 : -1;
}

vxSelectionOutcome vxSelectionOnOk(size_t cameraCount, int selected, bool exclusive,
                                   bool responding, bool inUse) {
  if (cameraCount == 0) return vxSelectionOutcome::CloseEmpty;
  if (selected < 0 || static_cast<size_t>(selected) >= cameraCount)
    return vxSelectionOutcome::NothingSelected;
  if (exclusive && (!responding || inUse)) return vxSelectionOutcome::NotAvailable;
  if (!responding) return vxSelectionOutcome::Unplugged;
  return vxSelectionOutcome::Accept;
}

std::string vxSelectionMessage(vxSelectionOutcome outcome) {
  switch (outcome) {
    case vxSelectionOutcome::NothingSelected:
      return "Please select a camera (or cancel)";
    case vxSelectionOutcome::NotAvailable:
      return "Selected camera is not available!";
    case vxSelectionOutcome::Unplugged:
      return "Selected camera is not available, it may have been unplugged!";
    case vxSelectionOutcome::CloseEmpty:
    case vxSelectionOutcome::Accept:
      break;
  }
  return "";
}
