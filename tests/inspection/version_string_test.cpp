// Version strings in the file and product forms.
#include "inspection/version_string.h"

#include <gtest/gtest.h>

namespace {

std::string fileForm(const char* text) { return GetVersionString(vxParseVersionQuad(text), false); }
std::string productForm(const char* text) { return GetVersionString(vxParseVersionQuad(text), true); }

}  // namespace

TEST(VersionString, FileFormNamesTheServiceLevelOfBuild2600Only) {
  EXPECT_EQ(fileForm("5.1.2600.2180"), "5.1.2600.2180 (XP SP2)");
  EXPECT_EQ(fileForm("5.1.2600.1106"), "5.1.2600.1106 (XP SP1)");
  EXPECT_EQ(fileForm("5.1.2600.2549"), "5.1.2600.2549 (XP SP2 + hotfix KB885222)");
  EXPECT_EQ(fileForm("5.1.2600.5512"), "5.1.2600.5512");
  EXPECT_EQ(fileForm("6.0.6000.16386"), "6.0.6000.16386");
  EXPECT_EQ(fileForm("6.1.2180.2600"), "6.1.2180.2600");  // the build is the third part
}

TEST(VersionString, ProductFormShowsTheCumulativeRelease) {
  EXPECT_EQ(productForm("6.2.3.0"), "6.2 CR3");
  EXPECT_EQ(productForm("6.2.0.5"), "6.2.0.5");
  EXPECT_EQ(productForm("6.2.3.9"), "6.2 CR3");
}

TEST(VersionString, NoVersionGivesAnEmptyText) {
  EXPECT_EQ(GetVersionString(std::nullopt, false), "");
  EXPECT_EQ(fileForm("not a version"), "");
  EXPECT_EQ(fileForm("70000.1"), "");  // parts are 16 bits
}

TEST(VersionString, KernelReleasesAndLibraryFilesGiveFourParts) {
  EXPECT_EQ(fileForm("6.1.0-13-amd64"), "6.1.0.13");
  EXPECT_EQ(fileForm("2.2"), "2.2.0.0");
  EXPECT_EQ(GetVersionString(vxVersionFromLibraryFile("/usr/lib/x86_64-linux-gnu/libdc1394.so.25.0.0"), false),
            "25.0.0.0");
  EXPECT_FALSE(vxVersionFromLibraryFile("/usr/lib/libdc1394.so"));
  EXPECT_EQ(GetOwnVersionString(false), fileForm(PRALIX_VERSION));
}
