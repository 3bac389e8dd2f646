// The JUnit file of a validation run: its counts and elements, and the schema CI servers read.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "support/test_paths.h"
#include "validation/validation_report.h"

namespace {

std::vector<vxValidationOutcome> sampleOutcomes() {
  vxValidationOutcome info{"reportInfo", true, true, false, 0.01, {"Using video format: a<b & \"c\"", "\r\n"}};
  vxValidationOutcome basic{"basicAcq", true, false, false, 1.5,
                            {"Running Basic Non Queued Acquisition Test.", "Non Queued Acquire Failed.\r\n"}};
  vxValidationOutcome roi{"roiMetrics", true, true, true, 0.2, {"Format is not format7. Skipping test.\r\n"}};
  vxValidationOutcome notRun{"trigAuto", false, false, false, 0.0, {}};
  return {info, basic, roi, notRun};
}

}  // namespace

TEST(ValidationJUnit, CountsFailureSkipAndEscapes) {
  const std::string xml = vxValidationJUnit("pralix validate", sampleOutcomes(), "line \x01 one\n");
  EXPECT_NE(xml.find("tests=\"3\" failures=\"1\" errors=\"0\" skipped=\"1\""), std::string::npos);
  EXPECT_NE(xml.find("<failure message=\"Running Basic Non Queued Acquisition Test.\""), std::string::npos);
  EXPECT_NE(xml.find("Non Queued Acquire Failed.\n</failure>"), std::string::npos);
  EXPECT_NE(xml.find("<testcase name=\"roiMetrics\" classname=\"pralix validate\" time=\"0.200\">\n    <skipped/>"),
            std::string::npos);
  EXPECT_EQ(xml.find("trigAuto"), std::string::npos);
  EXPECT_EQ(xml.find('\x01'), std::string::npos);
  EXPECT_EQ(vxXmlEscape("a<b & \"c\"'"), "a&lt;b &amp; &quot;c&quot;&apos;");
}

#ifdef PRALIX_XMLLINT
TEST(ValidationJUnit, FileValidatesAgainstTheJUnitSchema) {
  const std::string path = ::testing::TempDir() + "junit_" + std::to_string(::getpid()) + ".xml";
  {
    std::ofstream file(path);
    file << vxValidationJUnit("pralix validate 640x480 Mono 30 FPS", sampleOutcomes(), "report\r\nlines\r\n");
  }
  const std::string schema = pralix_test::testDataDir() + "/junit/junit.xsd";
  const std::string command =
      std::string(PRALIX_XMLLINT) + " --noout --schema '" + schema + "' '" + path + "' 2>/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  // The schema does reject what is not a JUnit file.
  {
    std::ofstream file(path);
    file << "<testsuite name=\"x\"><testcase/></testsuite>\n";
  }
  EXPECT_NE(std::system(command.c_str()), 0);
  std::remove(path.c_str());
}
#endif
