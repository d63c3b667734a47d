#include "live/tasks/Folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <orqcam/orqcam.hpp>
#include <system_error>

namespace orq::network {
namespace {

constexpr std::size_t kLongestName = 128;

std::string homeFolder() {
  const char* const home = std::getenv("HOME");
  return std::string(home != nullptr && *home != '\0' ? home : ".") + "/orqcam";
}

bool isSafe(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
         c == '_' || c == '{' || c == '}' || c == ':';
}

std::shared_ptr<const int> closing(int descriptor) {
  return {new int(descriptor),
          [](const int* held) {
            ::close(*held);
            delete held;
          }};
}

}  // namespace

Folder::Folder(const std::string& path) : path_(path.empty() ? homeFolder() : path) {
  if (!path.empty()) make();  // who names it wants to know at once, not with the first recording of the night
}

void Folder::make() const {
  std::error_code failed;
  std::filesystem::create_directories(path_, failed);
  if (failed) throw FileError("the folder " + path_ + " cannot be made: " + failed.message());
}

std::string Folder::pathFor(const std::string& name) const {
  if (name.empty() || name.size() > kLongestName || name.front() == '.' ||
      !std::all_of(name.begin(), name.end(), isSafe))
    throw InvalidError("'" + name + "' is no name for a file: give letters, digits, '-', '_' and '.'");
  make();
  return path_ + "/" + name;
}

std::vector<FolderFile> Folder::list() const {
  std::vector<FolderFile> files;
  std::error_code failed;
  for (std::filesystem::directory_iterator it(path_, failed), end; !failed && it != end; it.increment(failed)) {
    struct stat status {};
    const std::string name = it->path().filename().string();
    if (name.front() == '.' || ::lstat(it->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    files.push_back({name, static_cast<std::uint64_t>(status.st_size), status.st_mtime});
  }
  std::sort(files.begin(), files.end(), [](const FolderFile& a, const FolderFile& b) {
    return std::pair(b.changedUnixS, b.name) < std::pair(a.changedUnixS, a.name);
  });
  return files;
}

OpenFile Folder::open(const std::string& name) const {
  const NotFoundError missing("there is no file " + name);
  if (name.empty() || name.front() == '.' || name.find('/') != std::string::npos) throw missing;
  const std::string path = path_ + "/" + name;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) throw missing;
  OpenFile file{closing(descriptor), 0};
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) throw missing;
  file.bytes = static_cast<std::uint64_t>(status.st_size);
  return file;
}

std::uint64_t Folder::freeBytes() const {
  std::error_code failed;
  for (std::filesystem::path place = path_; !place.empty(); place = place.parent_path()) {
    const auto space = std::filesystem::space(place, failed);
    if (!failed) return space.available;
    if (place == place.parent_path()) break;
  }
  return 0;
}

}  // namespace orq::network
