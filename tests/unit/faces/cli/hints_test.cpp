// The library's advice in the tool's words: of what the library says in earnest.
#include "options/Hints.h"

#include <gtest/gtest.h>

#include <fstream>

#include "session/CameraList.h"
#include "session/Failure.h"
#include "session/files/FileNames.h"
#include "session/files/SafeFile.h"
#include "session/fits/Keywords.h"
#include "unit/support/TempDirectory.h"

namespace orq::cli {
namespace {

template <class Work>
std::string Hinted(Work work) {
  try {
    work();
  } catch (const session::Failure& failure) {
    return WithHints(failure.what());
  }
  return "nothing failed";
}

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(Hints, NameTheOptionThatAFileNameOrAKeywordCameWith) {
  EXPECT_EQ(Hinted([] { session::FilePattern("x.jpg"); }).rfind("--output: 'x.jpg'", 0), 0U);
  EXPECT_EQ(Hinted([] { session::ParseKeyword("FARTOOLONG=1"); }).rfind("--keyword FARTOOLONG=1: ", 0), 0U);
}

TEST(Hints, AdviseForFilesInOptions) {
  const TempDirectory folder;
  const std::string there = folder.File("there");
  std::ofstream(there) << "x";
  const auto write = [](const std::string& path) {
    return Hinted([&] { session::WriteWholeFile(path, {}, Existing::Keep, Durability::Cached); });
  };
  EXPECT_TRUE(EndsWith(write(there), "; give another --output, or --overwrite")) << write(there);
  const std::string lost = write(folder.File("no/such"));
  EXPECT_TRUE(EndsWith(lost, "; make the directory first, or give another --output")) << lost;
  const std::string longer = write(folder.File(std::string(300, 'x')));
  EXPECT_TRUE(EndsWith(longer, "; give a shorter --output")) << longer;
  const std::string map = Hinted([&] { session::DemandWritable(there, Existing::Keep); });
  EXPECT_TRUE(EndsWith(map, "; give another name, or --overwrite")) << map;
}

TEST(Hints, AdviseInCommands) {
  EXPECT_NE(WithHints(MakeCamera("serial:12").error).find("as orqcam list shows it"), std::string::npos);
}

TEST(Hints, LeaveOtherTextAlone) {
  EXPECT_EQ(WithHints("the camera was lost; check its cable"), "the camera was lost; check its cable");
  EXPECT_EQ(WithHints(""), "");
}

}  // namespace
}  // namespace orq::cli
