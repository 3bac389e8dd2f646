// The repository paths of the tests, compiled into this one file so no other
// test source carries an absolute path.
#include "support/test_paths.h"

#include <cstdlib>

namespace pralix_test {

std::string repoDataDir() {
  if (const char* dir = std::getenv("PRALIX_DATA_DIR"); dir && *dir) return dir;
  return std::string(PRALIX_REPO_DIR) + "/data";
}

std::string profilesDir() { return repoDataDir() + "/profiles"; }

std::string profilePath(const std::string& name) { return profilesDir() + "/" + name + ".json"; }

std::string testDataDir() { return std::string(PRALIX_REPO_DIR) + "/tests/data"; }

}  // namespace pralix_test
