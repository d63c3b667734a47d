// Named values under key paths in an XML file, kept much as a registry keeps them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "settings/XmlDocument.h"

/// An open key. A copy stands for the same key. Zero words, and those of a key that was closed, stand for none.
struct xmlHandle {
  std::array<std::uint32_t, 2> words{};
};

// The operations. All return non-zero for success, never throw and are any-thread. A key path is a text whose
// parts are separated by backslashes.

/// Opens `keyPath` in `file`: 0, with no handle, when either does not exist or the file cannot be read.
int XMLOpenKey(const char* file, const char* keyPath, xmlHandle* handle);
/// Opens `keyPath` and makes it, and `file`, first if need be. `keyClass` is not used.
int XMLCreateKey(const char* file, const char* keyPath, xmlHandle* handle, const char* keyClass);
/// Stores `length` bytes (at most kMaxXmlValueBytes) under `name`, with a type code. They reach the file when the
/// key is closed.
int XMLSetValueEx(xmlHandle handle, const char* name, const int* reserved, int type, const unsigned char* data,
                  int length);
/// 0, with nothing written, when there is no value of that name. Else the stored bytes in `data`, at most
/// `*length` of them; the stored type in `*type` and the stored length, which may be more than the room, in
/// `*length`. Each of the three may be null.
int XMLQueryValueEx(xmlHandle handle, const char* name, int* reserved, int* type, unsigned char* data,
                    int* length);
/// Writes what was stored and releases the handle, which becomes zero: 0 when it stood for no key or the file
/// could not be written.
int XMLCloseKey(xmlHandle* handle);

// How the store keeps its files:
//
// Closing a key locks the file (against other processes as well), reads it again, changes this key's stored values
// only, and replaces the file whole. Nothing is written when nothing would change. Waiting for the lock is
// bounded. A file that cannot be understood is renamed aside before a new one takes its place. Trouble stops
// nobody: it is written to the log file, the same trouble once per process, and can be asked for below.
//
// At most kMostXmlHandles keys are open at once: the next one takes the place of the one that was opened longest
// ago, whose unwritten values are lost.

namespace orq {

inline constexpr int kMostXmlHandles = 64;

/// The directory in which relative file names lie: the current one (empty, as at first) or another, which is made
/// when it is first written to. An open key stays with the file that its name stood for when it was opened.
/// Any-thread, as all below.
void SetXmlDirectory(const std::string& directory);
/// Where `file` lies.
std::string XmlPath(const std::string& file);
/// The user's: "$XDG_CONFIG_HOME/orqcam", by default "~/.config/orqcam"; empty when the environment names neither.
std::string UserConfigDirectory();

/// Switches the five operations off (no key exists and none can be made) and on again, for the whole process.
void EnableXmlStore(bool on);

/// The keys of `file` that hold values; none when it does not exist. `trouble` is one line when it cannot be read.
std::vector<XmlKey> ListXmlKeys(const std::string& file, std::string& trouble);
/// Removes a key with all that is in it; one that is not there counts as removed. False with the trouble as one
/// line when the file cannot be changed.
bool RemoveXmlKey(const std::string& file, const std::string& keyPath, std::string& trouble);

/// The last trouble since the last call as one line; empty when there was none.
std::string TakeXmlTrouble();

}  // namespace orq
