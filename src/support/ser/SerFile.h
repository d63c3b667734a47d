// SER video files of any size, read frame by frame.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/ser/SerHeader.h"

namespace orq {

/// What a file holds, beside what its header says.
struct SerSurvey {
  SerHeader header;
  std::uint64_t fileBytes = 0;
  std::uint64_t frames = 0;       ///< whole ones that the header announces
  std::uint64_t wholeFrames = 0;  ///< that the bytes behind the header would make, whatever it announces
  std::uint64_t stamps = 0;       ///< whole time stamps behind the announced frames, one a frame at most
  std::uint64_t strayBytes = 0;   ///< behind frames and stamps

  /// The frames that are announced, and either a time stamp for each or none at all.
  bool IsWhole() const {
    return header.frames > 0 && frames == static_cast<std::uint64_t>(header.frames) && strayBytes == 0 &&
           (stamps == 0 || stamps == frames);
  }
  std::uint64_t FrameOffset(std::uint64_t frame) const { return kSerHeaderBytes + frame * header.FrameBytes(); }
};

/// What a file of `fileBytes` bytes with this header, which has no `SerTrouble`, holds.
SerSurvey SurveySer(const SerHeader& header, std::uint64_t fileBytes);

/// An open file. Only its size at opening counts. Caller-serialised.
class SerFile {
 public:
  /// Nothing, with one line in `error`, for what is no SER file, or one whose frames cannot be told apart.
  static std::optional<SerFile> Open(const std::string& path, std::string& error);
  /// Takes `fd` over.
  static std::optional<SerFile> Open(int fd, std::string& error);
  ~SerFile();
  SerFile(SerFile&& other) noexcept;
  SerFile& operator=(SerFile&&) = delete;

  const SerSurvey& Survey() const { return survey_; }
  /// The bytes of frame `index`, counted from 0 and below `wholeFrames`, which are `FrameBytes`. False: they
  /// cannot be read.
  bool ReadFrame(std::uint64_t index, std::span<std::uint8_t> bytes) const;
  /// Time stamps from `first` on, `count` at most; fewer behind the last one. Nothing: they cannot be read.
  std::optional<std::vector<std::int64_t>> ReadStamps(std::uint64_t first, std::uint64_t count) const;

 private:
  SerFile(int fd, const SerSurvey& survey) : fd_(fd), survey_(survey) {}
  bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

  int fd_;
  SerSurvey survey_;
};

}  // namespace orq
