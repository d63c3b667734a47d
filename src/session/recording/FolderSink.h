// A recording as a folder of FITS files.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "session/recording/RecordingSink.h"
#include "support/WholeFile.h"

namespace orq::session {

/// Each frame is a file of its own, with all that is known of it: 000001.fits and so on. Each is whole or not
/// there, and has its name before the next frame is taken.
class FolderSink final : public RecordingSink {
 public:
  /// Makes the folder when there is none. Frames of an earlier recording are removed when they may be overwritten.
  /// `beforeWrite` is called before each file is made, which is not when it gives an errno. Throws Failure: no
  /// such folder can be made, or there is one that is not empty.
  FolderSink(const std::string& path, Existing existing, std::uint64_t pixelBytes,
             std::function<int()> beforeWrite);

  int Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) override;
  int Flush() override { return 0; }
  int Sync() override;
  int Keep(std::uint64_t& frames) override;
  int Finish() override { return Sync(); }
  std::uint64_t BytesOf(std::uint64_t frames) const override;
  std::uint64_t Ahead() const override { return 0; }
  bool IsDirect() const override { return false; }

 private:
  std::string path_;
  std::function<int()> beforeWrite_;
  std::vector<std::uint64_t> ends_;  ///< bytes of all files up to each one
  std::uint64_t fileBytes_;          ///< of the next one, about
};

/// About how many bytes a file with so many bytes of pixels has.
std::uint64_t FolderFileBytes(std::uint64_t pixelBytes);

/// Throws Failure when FolderSink would.
void CheckFolder(const std::string& path, Existing existing);

}  // namespace orq::session
