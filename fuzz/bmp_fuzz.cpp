// Any file as a dark image: it loads or is refused, and the dark image stays within its bounds.
// Input: a byte of options (bit 0: a dark image is there before), the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "models/camera/ModelCamera.h"

namespace {

constexpr int kWidth = 12;
constexpr int kHeight = 6;

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A file in memory with a name of its own.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size) : fd_(::memfd_create("bmp", 0)) {
    Require(fd_ >= 0 && ::write(fd_, data, size) == static_cast<ssize_t>(size));
  }
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

std::unique_ptr<orq::CModelCamera> MakeSmallCamera() {
  Require(std::freopen("/dev/null", "w", stdout) != nullptr);  // loading prints
  orq::ModelData model = *orq::FindModel("k1c");
  model.maxWidth = kWidth;
  model.maxHeight = kHeight;
  return std::make_unique<orq::CModelCamera>(model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const std::unique_ptr<orq::CModelCamera> camera = MakeSmallCamera();
  camera->UsingDark(false);
  const bool before = (data[0] & 1U) != 0;
  if (before) camera->pDarkFull = std::make_unique<std::uint8_t[]>(kWidth * kHeight);
  const MemoryFile file(data + 1, size - 1);
  const int status = camera->LoadBMPFromFile(file.Path().c_str());
  Require(status == 0 || status == 1 || status == 7);
  Require((camera->pDarkFull != nullptr) == (before || status == 1));
  Require((camera->CutDark != 0) == (status == 1));
  return 0;
}
