// The validation run as a JUnit XML file for a station's automated checks.
#pragma once

#include <string>
#include <vector>

#include "validation/validation_suite.h"

// One testsuite per run and one testcase per key that ran, with its time; a
// failed test carries its own lines in a failure element, a skipped one a
// skipped element, and the whole report goes into system-out.
std::string vxValidationJUnit(const std::string& suiteName, const std::vector<vxValidationOutcome>& outcomes,
                              const std::string& reportText);

// Text escaped for XML character data and attribute values; characters XML
// cannot carry at all are dropped.
std::string vxXmlEscape(const std::string& text);
