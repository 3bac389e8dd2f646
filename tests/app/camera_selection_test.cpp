// The camera selection dialog's rules.
#include "app/camera_selection.h"

#include <gtest/gtest.h>

namespace {

TEST(CameraSelection, MarksInTheList) {
  EXPECT_EQ(vxSelectionListText("Cam", true, false, true), "Cam");
  EXPECT_EQ(vxSelectionListText("Cam", true, true, true), "Cam (in-use)");
  EXPECT_EQ(vxSelectionListText("Cam", true, true, false), "Cam");
  EXPECT_EQ(vxSelectionListText("Cam", false, false, false), "Cam (not-responding)");
  // Not responding wins over in use.
  EXPECT_EQ(vxSelectionListText("Cam", false, true, true), "Cam (not-responding)");
}

TEST(CameraSelection, FirstCameraPreselectedOnlyWhenThereAreTwoOrMore) {
  EXPECT_EQ(vxInitialSelection(0), -1);
  EXPECT_EQ(vxInitialSelection(1), -1);
  EXPECT_EQ(vxInitialSelection(2), 0);
  EXPECT_EQ(vxInitialSelection(5), 0);
}

TEST(CameraSelection, OutcomesOfOk) {
  using O = vxSelectionOutcome;
  EXPECT_EQ(vxSelectionOnOk(0, -1, true, false, false), O::CloseEmpty);
  EXPECT_EQ(vxSelectionOnOk(2, -1, false, true, false), O::NothingSelected);
  EXPECT_EQ(vxSelectionOnOk(2, 2, false, true, false), O::NothingSelected);
  EXPECT_EQ(vxSelectionOnOk(2, 1, true, true, true), O::NotAvailable);
  EXPECT_EQ(vxSelectionOnOk(2, 1, true, false, false), O::NotAvailable);
  EXPECT_EQ(vxSelectionOnOk(2, 1, false, false, false), O::Unplugged);
  // Outside exclusive mode a camera in use may be chosen.
  EXPECT_EQ(vxSelectionOnOk(2, 1, false, true, true), O::Accept);
  EXPECT_EQ(vxSelectionOnOk(1, 0, true, true, false), O::Accept);

  EXPECT_EQ(vxSelectionMessage(O::NothingSelected), "Please select a camera (or cancel)");
  EXPECT_EQ(vxSelectionMessage(O::NotAvailable), "Selected camera is not available!");
  EXPECT_EQ(vxSelectionMessage(O::Unplugged),
            "Selected camera is not available, it may have been unplugged!");
  EXPECT_EQ(vxSelectionMessage(O::Accept), "");
}

}  // namespace
