// Where the tests find the repository's own data: the shipped profiles and tests/data.
#pragma once

#include <string>

namespace pralix_test {

// <repository>/data, or $PRALIX_DATA_DIR when it is set.
std::string repoDataDir();
// The shipped camera profiles: repoDataDir() + "/profiles".
std::string profilesDir();
// A shipped profile file by name ("korvane-kv640m").
std::string profilePath(const std::string& name);
// <repository>/tests/data.
std::string testDataDir();

}  // namespace pralix_test
