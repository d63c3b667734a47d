// Single frames out of SER files.
#pragma once

#include <cstdint>
#include <string>

#include "session/files/SafeFile.h"

namespace orq::session {

/// Writes frame `frame`, from 1, to a FITS file with what the recording tells of it, or to a PNG for looking at;
/// the name `to` may hold {n}, the frame's number, {date} and {time}. Returns the file's name. Throws Failure: no
/// such frame (range), other kinds of file (invalid), files.
std::string ExtractSer(const std::string& path, std::uint64_t frame, const std::string& to, Existing existing,
                       Durability durability);

}  // namespace orq::session
