#include "session/darks/DarkStore.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "session/Failure.h"
#include "support/WholeFile.h"

namespace orq::session {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDirectory = "darks";
constexpr const char* kVirtualPrefix = "virtual-";  // before the name of the camera's own directory
constexpr const char* kKeptName = "dark.bmp";
constexpr const char* kChoiceName = "applied";  // holds the path of the dark, as it stands

[[noreturn]] void Fail(const std::string& what, const std::string& path, int error) {
  throw Failure(Status::File, what + " '" + path + "': " + std::strerror(error));
}

}  // namespace

DarkStore::DarkStore(const std::string& stateDirectory, const ModelData& model, const std::string& serial) {
  if (stateDirectory.empty()) return;
  const std::string name = serial.empty() ? std::string(model.key) : serial;
  const fs::path directory =
      fs::path(stateDirectory) / kDirectory / ((model.isVirtual ? kVirtualPrefix : "") + name);
  directory_ = directory.string();
  kept_ = (directory / kKeptName).string();
  choice_ = (directory / kChoiceName).string();
}

bool DarkStore::HasKept() const {
  std::error_code none;
  return !kept_.empty() && fs::exists(kept_, none);
}

void DarkStore::DemandPlace() const {
  if (directory_.empty()) throw Failure(Status::File, "there is no place for darks: set HOME or XDG_STATE_HOME");
  std::error_code error;
  fs::create_directories(directory_, error);
  if (error) Fail("cannot make the directory", directory_, error.value());
}

std::string DarkStore::Chosen() const {
  if (choice_.empty()) return {};
  errno = 0;
  std::ifstream file(choice_, std::ios::binary);
  if (!file) {
    if (errno == ENOENT) return {};
    Fail("cannot read", choice_, errno != 0 ? errno : EIO);
  }
  std::string path{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad() || path.empty() || path.front() != '/' || path.find('\0') != std::string::npos)
    throw Failure(Status::File, "'" + choice_ + "' is damaged; choose another dark, or none");
  return path;
}

void DarkStore::Choose(const std::string& path) const {
  if (path.empty()) throw Failure(Status::Invalid, "the name of the dark is empty");
  DemandPlace();
  const std::string whole = fs::absolute(path).string();
  const std::vector<std::uint8_t> bytes(whole.begin(), whole.end());
  const int error = PutFile(choice_, bytes, Existing::Overwrite, Durability::Synced);
  if (error != 0) Fail("cannot write", choice_, error);
}

void DarkStore::ChooseNone() const {
  if (choice_.empty() || unlink(choice_.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR) return;
  Fail("cannot remove", choice_, errno);
}

}  // namespace orq::session
