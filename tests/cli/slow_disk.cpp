// Loaded before the C library: blocks of a recording take 600 ms to be written, as on a disk that is too slow.
#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>

namespace {

constexpr std::size_t kBlock = std::size_t{4} << 20;
constexpr useconds_t kDelayUs = 600'000;

ssize_t Write(const char* name, int fd, const void* bytes, std::size_t count, off_t offset) {
  using Function = ssize_t (*)(int, const void*, std::size_t, off_t);
  if (count >= kBlock) usleep(kDelayUs);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name))(fd, bytes, count, offset);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(int fd, const void* bytes, std::size_t count,
                                                                 off_t offset) {
  return Write("pwrite", fd, bytes, count, offset);
}

extern "C" __attribute__((visibility("default"))) ssize_t pwrite64(int fd, const void* bytes, std::size_t count,
                                                                   off_t offset) {
  return Write("pwrite64", fd, bytes, count, offset);
}
