#include "settings/XmlStore.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "settings/SettingsFile.h"
#include "support/ORQLog.h"
#include "support/WholeFile.h"
#include "support/threads/Mutex.h"

namespace orq {
namespace {

constexpr std::chrono::seconds kLockPatience{2};
constexpr std::size_t kMostReports = 256;
constexpr std::size_t kMostStored = 1024;  ///< values that an open key takes

/// An open key: what the file held when it was opened, and what was stored since.
struct OpenKey {
  std::uint32_t generation = 0;  ///< 0: free
  std::string file;              ///< full path: the current directory may change while the key is open
  std::string path;
  XmlValues values;
  XmlChanges stored;
};

struct Store {
  Mutex mutex;
  bool enabled ORQ_GUARDED_BY(mutex) = true;
  std::string directory ORQ_GUARDED_BY(mutex);
  std::array<OpenKey, kMostXmlHandles> keys ORQ_GUARDED_BY(mutex);
  std::uint32_t lastGeneration ORQ_GUARDED_BY(mutex) = 0;
  std::set<std::string> reported ORQ_GUARDED_BY(mutex);
  std::string trouble ORQ_GUARDED_BY(mutex);

  /// The key of a handle, or null.
  OpenKey* Find(const xmlHandle& handle) ORQ_REQUIRES(mutex) {
    const std::uint32_t slot = handle.words[0] - 1;  // 0 becomes the largest number
    if (slot >= keys.size() || handle.words[1] == 0 || keys[slot].generation != handle.words[1]) return nullptr;
    return &keys[slot];
  }
};

/// Never destroyed: cameras that are static objects save their settings when the process ends.
Store& TheStore() {
  static Store& store = *new Store;  // NOLINT
  return store;
}

void Report(const std::string& trouble) {
  Store& store = TheStore();
  {
    const MutexLock lock(store.mutex);
    store.trouble = trouble;
    if (store.reported.size() >= kMostReports || !store.reported.insert(trouble).second) return;
  }
  ORQLog::get_instance().info(trouble.c_str());
}

std::string About(const std::string& path, const std::string& what) {
  return "settings file " + path + ": " + what;
}

bool IsEnabled() {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  return store.enabled;
}

/// Where `file` lies, from the root on; as it stands when there is no current directory.
std::string FullPath(const std::string& file) {
  const std::string path = XmlPath(file);
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(path, error);
  return error ? path : full.string();
}

bool IsName(const char* name) {
  return name != nullptr && std::strlen(name) <= kMaxXmlNameBytes;
}

/// A settings file as it was found.
struct Reading {
  enum class State { Missing, Good, Damaged, Failed };
  State state = State::Failed;
  XmlDocument document;
  std::string trouble;
};

Reading Read(const std::string& path) {
  Reading reading;
  std::string text;
  std::string reason;
  switch (ReadWholeFile(path, kMaxXmlBytes, text, reason)) {
    case FileRead::Missing:
      reading.state = Reading::State::Missing;
      return reading;
    case FileRead::Failed:
      reading.trouble = About(path, "cannot be read: " + reason);
      return reading;
    case FileRead::Read:
    case FileRead::TooLarge:
      break;
  }
  // One that is too large is cut, and refused for its size.
  if (auto document = XmlDocument::Parse(text, reason)) {
    reading.state = Reading::State::Good;
    reading.document = std::move(*document);
  } else {
    reading.state = Reading::State::Damaged;
    reading.trouble = About(path, "cannot be used: " + reason);
  }
  return reading;
}

/// The file as it stands, for one who only reads. Nothing, with the trouble reported, when it cannot be used.
std::optional<XmlDocument> Look(const std::string& path, std::string& trouble) {
  Reading reading = Read(path);
  if (reading.state == Reading::State::Good) return std::move(reading.document);
  trouble = reading.trouble;
  if (!trouble.empty()) Report(trouble);
  return std::nullopt;
}

/// Lets `change` (true: something changed) work on the file as it now is, and writes it. Whoever calls it does so
/// alone. False with the trouble as one line.
bool Change(const std::string& path, const std::function<bool(XmlDocument&)>& change, std::string& trouble) {
  std::string reason;
  const auto fail = [&](const std::string& what) {
    trouble = About(path, what + ": " + reason);
    Report(trouble);
    return false;
  };
  const std::string target = FollowLinks(path, reason);
  if (target.empty()) return fail("cannot be used");
  if (!MakeDirectories(DirectoryOf(target), reason)) return fail("its directory cannot be made");
  const FileLock lock(target, kLockPatience, reason);
  if (!lock.Held()) return fail("cannot be locked, so nothing was written");

  Reading reading = Read(target);
  if (reading.state == Reading::State::Failed) {
    trouble = reading.trouble;
    Report(trouble);
    return false;
  }
  if (!change(reading.document) && reading.state != Reading::State::Damaged) return true;
  const std::string text = reading.document.Text();
  if (text.size() > kMaxXmlBytes) {
    reason = "it would become too large";
    return fail("cannot be written");
  }
  std::string aside;
  if (reading.state == Reading::State::Damaged) {
    aside = SetFileAside(target, reason);
    if (aside.empty()) return fail("is damaged and cannot be set aside");
    Report(reading.trouble + "; it is now " + aside);
  }
  if (ReplaceFile(target, text, reason)) return true;
  if (!aside.empty()) reason += "; its old contents are now " + aside;
  return fail("cannot be written");
}

/// Puts a key into the table.
void Open(OpenKey key, xmlHandle& handle) {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  // A free entry's number is lower than any in use, and of those in use the lowest was opened longest ago.
  OpenKey& entry = *std::ranges::min_element(store.keys, {}, &OpenKey::generation);
  if (++store.lastGeneration == 0) ++store.lastGeneration;
  key.generation = store.lastGeneration;
  entry = std::move(key);
  handle.words = {static_cast<std::uint32_t>(&entry - store.keys.data()) + 1, entry.generation};
}

/// Opens the key if it is there.
bool OpenExisting(const std::string& path, const char* keyPath, xmlHandle& handle) {
  std::string trouble;
  const auto document = Look(path, trouble);
  if (!document) return false;
  auto values = document->Read(keyPath);
  if (!values) return false;
  Open({0, path, keyPath, std::move(*values), {}}, handle);
  return true;
}

int CreateKey(const std::string& path, const char* keyPath, xmlHandle& handle) {
  if (OpenExisting(path, keyPath, handle)) return 1;
  std::string trouble;
  const auto make = [&](XmlDocument& document) { return document.Create(keyPath); };
  return Change(path, make, trouble) && OpenExisting(path, keyPath, handle) ? 1 : 0;
}

XmlValue* FindStored(OpenKey& key, std::string_view name) {
  const auto found = std::ranges::find(key.stored, name, &XmlChanges::value_type::first);
  return found == key.stored.end() ? nullptr : &found->second;
}

int SetValue(const xmlHandle& handle, const char* name, int type, const unsigned char* data, int length) {
  XmlValue value{type, {}};
  if (length > 0) value.data.assign(data, data + length);
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  OpenKey* key = store.Find(handle);
  if (key == nullptr) return 0;
  if (XmlValue* older = FindStored(*key, name))
    *older = std::move(value);
  else if (key->stored.size() < kMostStored)
    key->stored.emplace_back(name, std::move(value));
  else
    return 0;
  return 1;
}

int QueryValue(const xmlHandle& handle, const char* name, int* type, unsigned char* data, int* length) {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  OpenKey* key = store.Find(handle);
  if (key == nullptr) return 0;
  const XmlValue* found = FindStored(*key, name);
  if (found == nullptr) {
    const auto inFile = key->values.find(name);
    if (inFile == key->values.end()) return 0;
    found = &inFile->second;
  }
  const XmlValue& value = *found;
  if (length != nullptr) {
    const auto room = static_cast<std::size_t>(std::max(*length, 0));
    if (data != nullptr) std::copy_n(value.data.begin(), std::min(room, value.data.size()), data);
    *length = static_cast<int>(value.data.size());
  }
  if (type != nullptr) *type = value.type;
  return 1;
}

int CloseKey(xmlHandle& handle) {
  OpenKey key;
  {
    Store& store = TheStore();
    const MutexLock lock(store.mutex);
    OpenKey* open = store.Find(handle);
    handle = {};
    if (open == nullptr) return 0;
    key = std::exchange(*open, {});
  }
  if (key.stored.empty()) return 1;
  std::string trouble;
  const auto merge = [&](XmlDocument& document) { return document.Merge(key.path, key.stored); };
  return Change(key.file, merge, trouble) ? 1 : 0;
}

/// The operations promise not to throw: whoever has no memory left keeps no settings.
template <class Operation>
int Guarded(Operation&& operation) noexcept {
  try {
    return operation();
  } catch (...) {
    return 0;
  }
}

}  // namespace

void SetXmlDirectory(const std::string& directory) {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  store.directory = directory;
}

std::string XmlPath(const std::string& file) {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  return store.directory.empty() || file.starts_with('/') ? file : store.directory + '/' + file;
}

std::string UserConfigDirectory() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return std::string(config) + "/orqcam";
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return std::string(home) + "/.config/orqcam";
  return {};
}

void EnableXmlStore(bool on) {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  store.enabled = on;
}

std::vector<XmlKey> ListXmlKeys(const std::string& file, std::string& trouble) {
  const auto document = Look(FullPath(file), trouble);
  return document ? document->Keys() : std::vector<XmlKey>();
}

bool RemoveXmlKey(const std::string& file, const std::string& keyPath, std::string& trouble) {
  const std::string path = FullPath(file);
  if (Read(path).state == Reading::State::Missing) return true;
  return Change(
      path, [&](XmlDocument& document) { return document.Remove(keyPath); }, trouble);
}

std::string TakeXmlTrouble() {
  Store& store = TheStore();
  const MutexLock lock(store.mutex);
  return std::exchange(store.trouble, {});
}

}  // namespace orq

int XMLOpenKey(const char* file, const char* keyPath, xmlHandle* handle) {
  if (handle == nullptr) return 0;
  *handle = {};
  if (file == nullptr || !orq::IsName(keyPath)) return 0;
  return orq::Guarded(
      [&] { return orq::IsEnabled() && orq::OpenExisting(orq::FullPath(file), keyPath, *handle) ? 1 : 0; });
}

int XMLCreateKey(const char* file, const char* keyPath, xmlHandle* handle, const char*) {
  if (handle == nullptr) return 0;
  *handle = {};
  if (file == nullptr || !orq::IsName(keyPath)) return 0;
  return orq::Guarded(
      [&] { return orq::IsEnabled() ? orq::CreateKey(orq::FullPath(file), keyPath, *handle) : 0; });
}

int XMLSetValueEx(xmlHandle handle, const char* name, const int*, int type, const unsigned char* data,
                  int length) {
  const bool fits = length >= 0 && static_cast<std::size_t>(length) <= orq::kMaxXmlValueBytes;
  if (!orq::IsName(name) || !fits || (data == nullptr && length != 0)) return 0;
  return orq::Guarded([&] { return orq::SetValue(handle, name, type, data, length); });
}

int XMLQueryValueEx(xmlHandle handle, const char* name, int*, int* type, unsigned char* data, int* length) {
  if (!orq::IsName(name)) return 0;
  return orq::Guarded([&] { return orq::QueryValue(handle, name, type, data, length); });
}

int XMLCloseKey(xmlHandle* handle) {
  if (handle == nullptr) return 0;
  return orq::Guarded([&] { return orq::CloseKey(*handle); });
}
