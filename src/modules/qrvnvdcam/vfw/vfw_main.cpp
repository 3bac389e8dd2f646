// pralix-vfw: runs a program with the virtual /dev/fw nodes of libpralix-vfw in its process.
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const char kUsage[] =
    "usage: pralix-vfw [--profiles NAME,...] [--control FIFO] -- PROGRAM [ARGS...]\n"
    "Runs PROGRAM with virtual FireWire nodes /dev/fw0 (the host adapter) and\n"
    "/dev/fw1... (one simulated IIDC camera per profile) in place of the real ones.\n"
    "  --profiles  camera profiles by name or path (default: the built-in set)\n"
    "  --control   a FIFO to make; write \"reset\", \"unplug N\", \"replug N\" or\n"
    "              \"plug PROFILE\" lines into it to reset the bus, unplug and replug\n"
    "              camera N (from 0) or plug a new camera in\n";

// libpralix-vfw.so beside this program (build tree), or where it is installed.
std::string findLibrary() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  std::vector<fs::path> candidates;
  if (!ec) {
    candidates.push_back(self.parent_path() / "libpralix-vfw.so");
    candidates.push_back(self.parent_path().parent_path() / "lib" / "dcam-pralix" / "libpralix-vfw.so");
  }
#ifdef PRALIX_INSTALL_MODULE_DIR
  candidates.push_back(fs::path(PRALIX_INSTALL_MODULE_DIR) / "libpralix-vfw.so");
#endif
  for (const fs::path& candidate : candidates)
    if (fs::exists(candidate, ec)) return candidate.string();
  return {};
}

#if defined(__SANITIZE_ADDRESS__)
// A library built with AddressSanitizer needs the sanitizer's run-time loaded
// before it; this program carries the same run-time, so it names it.
int findAsan(dl_phdr_info* info, size_t, void* out) {
  if (info->dlpi_name && std::strstr(info->dlpi_name, "libasan.so")) {
    *static_cast<std::string*>(out) = info->dlpi_name;
    return 1;
  }
  return 0;
}
#endif

}  // namespace

int main(int argc, char** argv) {
  std::string profiles;
  std::string control;
  int i = 1;
  for (; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") {
      ++i;
      break;
    }
    if ((arg == "--profiles" || arg == "--control") && i + 1 < argc) {
      (arg == "--profiles" ? profiles : control) = argv[++i];
    } else if (arg == "-h" || arg == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
    } else {
      std::fprintf(stderr, "pralix-vfw: unknown option %s\n%s", arg.c_str(), kUsage);
      return 2;
    }
  }
  if (i >= argc) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  const std::string library = findLibrary();
  if (library.empty()) {
    std::fputs("pralix-vfw: libpralix-vfw.so is neither beside this program nor installed\n", stderr);
    return 1;
  }
  std::string preload = library;
#if defined(__SANITIZE_ADDRESS__)
  std::string asan;
  dl_iterate_phdr(findAsan, &asan);
  if (!asan.empty()) preload = asan + ":" + preload;
#endif
  if (const char* existing = std::getenv("LD_PRELOAD"); existing && *existing) preload += std::string(":") + existing;
  ::setenv("LD_PRELOAD", preload.c_str(), 1);
  if (!profiles.empty()) ::setenv("PRALIX_VFW_PROFILES", profiles.c_str(), 1);
  if (!control.empty()) ::setenv("PRALIX_VFW_CONTROL", control.c_str(), 1);
  ::execvp(argv[i], argv + i);
  std::fprintf(stderr, "pralix-vfw: cannot run %s: %s\n", argv[i], std::strerror(errno));
  return 127;
}
