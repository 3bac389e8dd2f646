// libpralix-vfw: the C library calls a process makes on /dev/fw nodes, /dev and sysfs, answered by the virtual bus.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "modules/qrvnvdcam/vfw/vfw_bus.h"

#define VFW_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The next definition of a C library function, looked up once.
template <typename F>
F next(const char* name) {
  return reinterpret_cast<F>(::dlsym(RTLD_NEXT, name));
}

template <typename F>
struct ReturnOf;
template <typename R, typename... A>
struct ReturnOf<R (*)(A...)> {
  using type = R;
};
template <typename R, typename... A>
struct ReturnOf<R (*)(A..., ...)> {
  using type = R;
};

// What a failed call answers: -1 or a null pointer.
template <typename R>
R failure() {
  if constexpr (std::is_pointer_v<R>)
    return nullptr;
  else
    return R(-1);
}

#define REAL(name, Fn_)                                   \
  static const auto real_##name = next<Fn_>(#name);       \
  if (!real_##name) {                                     \
    errno = ENOSYS;                                       \
    return failure<typename ReturnOf<Fn_>::type>();          \
  }

using OpenFn = int (*)(const char*, int, ...);
using OpenatFn = int (*)(int, const char*, int, ...);
using ReadFn = ssize_t (*)(int, void*, size_t);
using CloseFn = int (*)(int);
using MmapFn = void* (*)(void*, size_t, int, int, int, off_t);

// The bus's own way past these replacements.
const vx_VfwLibc& libc() {
  static const vx_VfwLibc table = [] {
    vx_VfwLibc t;
    t.read = next<ReadFn>("read");
    t.close = next<CloseFn>("close");
    t.mmap = next<MmapFn>("mmap");
    return t;
  }();
  return table;
}

vx_VfwBus& bus() {
  vx_VfwBus::setLibc(&libc());
  return vx_VfwBus::instance();
}

// "/dev/fw" followed by a digit: a node of the virtual bus, or one that is not there.
bool isFwNodePath(const char* path) {
  return path && std::strncmp(path, "/dev/fw", 7) == 0 && path[7] >= '0' && path[7] <= '9';
}

constexpr const char kSysfsFirewire[] = "/sys/bus/firewire";

// The stand-in folder's path for a path into the kernel's firewire sysfs
// folder; empty for any other path.
std::string sysfsPath(const char* path) {
  const size_t n = sizeof kSysfsFirewire - 1;
  if (!path || std::strncmp(path, kSysfsFirewire, n) != 0 || (path[n] != '\0' && path[n] != '/')) return {};
  return bus().sysfsRoot() + (path + n);
}

bool isClient(int fd) { return fd >= 0 && vx_VfwBus::exists() && bus().isClient(fd); }

int openNode(const char* path, int flags) {
  vx_VfwBus& b = bus();
  const int node = b.nodeOfPath(path);
  if (node < 0) {
    errno = ENOENT;
    return -1;
  }
  return b.open(node, flags);
}

template <typename Real>
int openPath(Real real, const char* path, int flags, mode_t mode) {
  if (isFwNodePath(path)) return openNode(path, flags);
  const std::string redirected = sysfsPath(path);
  return real(redirected.empty() ? path : redirected.c_str(), flags, mode);
}

template <typename Real>
int openAtPath(Real real, int dirfd, const char* path, int flags, mode_t mode) {
  if (isFwNodePath(path)) return openNode(path, flags);
  const std::string redirected = sysfsPath(path);
  return real(dirfd, redirected.empty() ? path : redirected.c_str(), flags, mode);
}

mode_t modeArg(int flags, va_list args) {
  return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? mode_t(va_arg(args, int)) : 0;
}

// A character device of the firewire major, as the kernel's nodes are.
template <typename Stat>
void fillNodeStat(Stat* st, int node) {
  std::memset(st, 0, sizeof *st);
  st->st_mode = S_IFCHR | 0660;
  st->st_rdev = makedev(244, unsigned(node));
  st->st_dev = makedev(0, 5);
  st->st_ino = 0x7f000000u + unsigned(node);
  st->st_nlink = 1;
  st->st_uid = ::getuid();
  st->st_gid = ::getgid();
  st->st_blksize = 4096;
}

// Path-based stat: 1 when answered here (result in *ret), 0 to go on.
template <typename Stat>
int statNode(const char* path, Stat* st, int* ret) {
  if (!isFwNodePath(path)) return 0;
  const int node = bus().nodeOfPath(path);
  if (node < 0) {
    errno = ENOENT;
    *ret = -1;
  } else {
    fillNodeStat(st, node);
    *ret = 0;
  }
  return 1;
}

// Listings of /dev get the virtual nodes in place of any real fw nodes.
struct DirState {
  bool isDev = false;
  bool atVirtual = false;
  std::vector<std::string> names;
  size_t next = 0;
  dirent entry{};
  dirent64 entry64{};
};
std::mutex g_dirMutex;
std::map<DIR*, DirState> g_dirs;

bool isDevDir(DIR* dir) {
  struct stat devStat {};
  struct stat dirStat {};
  static const auto realStat = next<int (*)(const char*, struct stat*)>("stat");
  static const auto realFstat = next<int (*)(int, struct stat*)>("fstat");
  if (!realStat || !realFstat || realStat("/dev", &devStat) != 0) return false;
  const int fd = ::dirfd(dir);
  return fd >= 0 && realFstat(fd, &dirStat) == 0 && dirStat.st_dev == devStat.st_dev &&
         dirStat.st_ino == devStat.st_ino;
}

bool isFwName(const char* name) { return std::strncmp(name, "fw", 2) == 0 && name[2] >= '0' && name[2] <= '9'; }

template <typename Entry, typename Real>
Entry* readDir(DIR* dir, Real real, Entry DirState::*slot) {
  {
    std::lock_guard lock(g_dirMutex);
    auto it = g_dirs.find(dir);
    if (it == g_dirs.end()) {
      DirState state;
      state.isDev = isDevDir(dir);
      it = g_dirs.emplace(dir, std::move(state)).first;
    }
    if (!it->second.isDev) {
      // Not /dev: forget it again, so that listings elsewhere cost nothing.
      g_dirs.erase(it);
      return real(dir);
    }
  }
  for (;;) {
    std::unique_lock lock(g_dirMutex);
    DirState& state = g_dirs[dir];
    if (!state.atVirtual) {
      lock.unlock();
      const int saved = errno;
      Entry* entry = real(dir);
      if (entry && isFwName(entry->d_name)) continue;
      if (entry) return entry;
      errno = saved;
      std::vector<std::string> names = bus().nodeNames();
      lock.lock();
      DirState& again = g_dirs[dir];
      again.atVirtual = true;
      again.names = std::move(names);
      again.next = 0;
      continue;
    }
    if (state.next >= state.names.size()) return nullptr;
    Entry& entry = state.*slot;
    std::memset(&entry, 0, sizeof entry);
    const std::string& name = state.names[state.next++];
    std::snprintf(entry.d_name, sizeof entry.d_name, "%s", name.c_str());
    entry.d_type = DT_CHR;
    entry.d_ino = 0x7f000000u + state.next;
    entry.d_reclen = sizeof entry;
    return &entry;
  }
}

// poll: a node whose camera has left reports a hang-up and an error, and
// is readable only while events are left on it.
void fixPoll(pollfd* fds, nfds_t count, int& ready) {
  if (!vx_VfwBus::exists() || ready < 0) return;
  for (nfds_t i = 0; i < count; ++i) {
    const std::optional<bool> gone = bus().goneWithEvents(fds[i].fd);
    if (!gone) continue;
    const bool wasReady = fds[i].revents != 0;
    fds[i].revents |= POLLHUP | POLLERR;
    if (!*gone) fds[i].revents &= ~(POLLIN | POLLRDNORM | POLLRDHUP);
    if (!wasReady) ++ready;
  }
}

}  // namespace

VFW_EXPORT int open(const char* path, int flags, ...) {
  REAL(open, OpenFn)
  va_list args;
  va_start(args, flags);
  const mode_t mode = modeArg(flags, args);
  va_end(args);
  return openPath(real_open, path, flags, mode);
}

VFW_EXPORT int open64(const char* path, int flags, ...) {
  REAL(open64, OpenFn)
  va_list args;
  va_start(args, flags);
  const mode_t mode = modeArg(flags, args);
  va_end(args);
  return openPath(real_open64, path, flags, mode);
}

VFW_EXPORT int __open_2(const char* path, int flags) {
  REAL(open, OpenFn)
  return openPath(real_open, path, flags, 0);
}

VFW_EXPORT int __open64_2(const char* path, int flags) {
  REAL(open64, OpenFn)
  return openPath(real_open64, path, flags, 0);
}

VFW_EXPORT int openat(int dirfd, const char* path, int flags, ...) {
  REAL(openat, OpenatFn)
  va_list args;
  va_start(args, flags);
  const mode_t mode = modeArg(flags, args);
  va_end(args);
  return openAtPath(real_openat, dirfd, path, flags, mode);
}

VFW_EXPORT int openat64(int dirfd, const char* path, int flags, ...) {
  REAL(openat64, OpenatFn)
  va_list args;
  va_start(args, flags);
  const mode_t mode = modeArg(flags, args);
  va_end(args);
  return openAtPath(real_openat64, dirfd, path, flags, mode);
}

VFW_EXPORT int __openat_2(int dirfd, const char* path, int flags) {
  REAL(openat, OpenatFn)
  return openAtPath(real_openat, dirfd, path, flags, 0);
}

VFW_EXPORT int __openat64_2(int dirfd, const char* path, int flags) {
  REAL(openat64, OpenatFn)
  return openAtPath(real_openat64, dirfd, path, flags, 0);
}

VFW_EXPORT FILE* fopen(const char* path, const char* mode) {
  using Fn = FILE* (*)(const char*, const char*);
  REAL(fopen, Fn)
  const std::string redirected = sysfsPath(path);
  return real_fopen(redirected.empty() ? path : redirected.c_str(), mode);
}

VFW_EXPORT FILE* fopen64(const char* path, const char* mode) {
  using Fn = FILE* (*)(const char*, const char*);
  REAL(fopen64, Fn)
  const std::string redirected = sysfsPath(path);
  return real_fopen64(redirected.empty() ? path : redirected.c_str(), mode);
}

VFW_EXPORT int close(int fd) {
  if (isClient(fd)) return bus().close(fd);
  return libc().close ? libc().close(fd) : -1;
}

VFW_EXPORT ssize_t read(int fd, void* buffer, size_t count) {
  if (isClient(fd)) return bus().read(fd, buffer, count);
  return libc().read ? libc().read(fd, buffer, count) : -1;
}

VFW_EXPORT ssize_t __read_chk(int fd, void* buffer, size_t count, size_t size) {
  if (count > size) ::abort();
  return read(fd, buffer, count);
}

VFW_EXPORT int ioctl(int fd, unsigned long request, ...) {
  using Fn = int (*)(int, unsigned long, ...);
  REAL(ioctl, Fn)
  va_list args;
  va_start(args, request);
  void* arg = va_arg(args, void*);
  va_end(args);
  if (isClient(fd)) {
    const int result = bus().ioctl(fd, request, arg);
    // PRALIX_VFW_TRACE=1 shows every request a program makes on the nodes.
    static const bool trace = std::getenv("PRALIX_VFW_TRACE") != nullptr;
    if (trace) {
      const int saved = errno;
      std::fprintf(stderr, "pralix-vfw: ioctl(%d, 0x%lx) = %d%s%s\n", fd, request, result, result < 0 ? " " : "",
                   result < 0 ? std::strerror(saved) : "");
      errno = saved;
    }
    return result;
  }
  return real_ioctl(fd, request, arg);
}

VFW_EXPORT void* mmap(void* address, size_t length, int prot, int flags, int fd, off_t offset) {
  if (!libc().mmap) {
    errno = ENOSYS;
    return MAP_FAILED;
  }
  if (isClient(fd)) return bus().mmap(fd, length, prot, flags, offset);
  return libc().mmap(address, length, prot, flags, fd, offset);
}

VFW_EXPORT void* mmap64(void* address, size_t length, int prot, int flags, int fd, off_t offset) {
  return mmap(address, length, prot, flags, fd, offset);
}

VFW_EXPORT int munmap(void* address, size_t length) {
  using Fn = int (*)(void*, size_t);
  REAL(munmap, Fn)
  if (vx_VfwBus::exists()) bus().unmapping(address, length);
  return real_munmap(address, length);
}

VFW_EXPORT int poll(pollfd* fds, nfds_t count, int timeout) {
  using Fn = int (*)(pollfd*, nfds_t, int);
  REAL(poll, Fn)
  int ready = real_poll(fds, count, timeout);
  fixPoll(fds, count, ready);
  return ready;
}

VFW_EXPORT int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t size) {
  if (count * sizeof *fds > size) ::abort();
  return poll(fds, count, timeout);
}

VFW_EXPORT int ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  using Fn = int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*);
  REAL(ppoll, Fn)
  int ready = real_ppoll(fds, count, timeout, mask);
  fixPoll(fds, count, ready);
  return ready;
}

VFW_EXPORT int __ppoll_chk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask, size_t size) {
  if (count * sizeof *fds > size) ::abort();
  return ppoll(fds, count, timeout, mask);
}

#define VFW_STAT(name, type)                                   \
  VFW_EXPORT int name(const char* path, struct type* st) {     \
    using Fn = int (*)(const char*, struct type*);             \
    REAL(name, Fn)                                             \
    int ret = 0;                                               \
    if (statNode(path, st, &ret)) return ret;                  \
    const std::string redirected = sysfsPath(path);            \
    return real_##name(redirected.empty() ? path : redirected.c_str(), st); \
  }

VFW_STAT(stat, stat)
VFW_STAT(lstat, stat)
VFW_STAT(stat64, stat64)
VFW_STAT(lstat64, stat64)

#define VFW_FSTATAT(name, type)                                                       \
  VFW_EXPORT int name(int dirfd, const char* path, struct type* st, int flags) {      \
    using Fn = int (*)(int, const char*, struct type*, int);                          \
    REAL(name, Fn)                                                                    \
    int ret = 0;                                                                      \
    if (statNode(path, st, &ret)) return ret;                                         \
    const std::string redirected = sysfsPath(path);                                   \
    return real_##name(dirfd, redirected.empty() ? path : redirected.c_str(), st, flags); \
  }

VFW_FSTATAT(fstatat, stat)
VFW_FSTATAT(fstatat64, stat64)

VFW_EXPORT int fstat(int fd, struct stat* st) {
  using Fn = int (*)(int, struct stat*);
  REAL(fstat, Fn)
  if (isClient(fd)) {
    fillNodeStat(st, 0);
    return 0;
  }
  return real_fstat(fd, st);
}

VFW_EXPORT int fstat64(int fd, struct stat64* st) {
  using Fn = int (*)(int, struct stat64*);
  REAL(fstat64, Fn)
  if (isClient(fd)) {
    fillNodeStat(st, 0);
    return 0;
  }
  return real_fstat64(fd, st);
}

VFW_EXPORT int access(const char* path, int how) {
  using Fn = int (*)(const char*, int);
  REAL(access, Fn)
  if (isFwNodePath(path)) {
    if (bus().nodeOfPath(path) >= 0) return 0;
    errno = ENOENT;
    return -1;
  }
  const std::string redirected = sysfsPath(path);
  return real_access(redirected.empty() ? path : redirected.c_str(), how);
}

VFW_EXPORT int faccessat(int dirfd, const char* path, int how, int flags) {
  using Fn = int (*)(int, const char*, int, int);
  REAL(faccessat, Fn)
  if (isFwNodePath(path)) {
    if (bus().nodeOfPath(path) >= 0) return 0;
    errno = ENOENT;
    return -1;
  }
  const std::string redirected = sysfsPath(path);
  return real_faccessat(dirfd, redirected.empty() ? path : redirected.c_str(), how, flags);
}

VFW_EXPORT DIR* opendir(const char* path) {
  using Fn = DIR* (*)(const char*);
  REAL(opendir, Fn)
  const std::string redirected = sysfsPath(path);
  return real_opendir(redirected.empty() ? path : redirected.c_str());
}

VFW_EXPORT dirent* readdir(DIR* dir) {
  using Fn = dirent* (*)(DIR*);
  REAL(readdir, Fn)
  return readDir(dir, real_readdir, &DirState::entry);
}

VFW_EXPORT dirent64* readdir64(DIR* dir) {
  using Fn = dirent64* (*)(DIR*);
  REAL(readdir64, Fn)
  return readDir(dir, real_readdir64, &DirState::entry64);
}

VFW_EXPORT void rewinddir(DIR* dir) {
  using Fn = void (*)(DIR*);
  static const auto real = next<Fn>("rewinddir");
  {
    std::lock_guard lock(g_dirMutex);
    g_dirs.erase(dir);
  }
  if (real) real(dir);
}

VFW_EXPORT int closedir(DIR* dir) {
  using Fn = int (*)(DIR*);
  REAL(closedir, Fn)
  {
    std::lock_guard lock(g_dirMutex);
    g_dirs.erase(dir);
  }
  return real_closedir(dir);
}
