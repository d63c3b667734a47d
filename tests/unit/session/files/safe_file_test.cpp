#include "session/files/SafeFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <vector>

#include "session/Failure.h"

namespace orq::session {
namespace {

namespace fs = std::filesystem;

class SafeFileTest : public testing::Test {
 protected:
  SafeFileTest() {
    std::string name = testing::TempDir() + "safefile-XXXXXX";
    directory_ = mkdtemp(name.data());
  }
  ~SafeFileTest() override { fs::remove_all(directory_); }

  std::string Path(const std::string& name) const { return (fs::path(directory_) / name).string(); }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  static std::vector<std::uint8_t> Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string directory_;
};

std::string ErrorOf(const auto& action) {
  try {
    action();
  } catch (const Failure& error) {
    EXPECT_EQ(error.Code(), Status::File);
    return error.what();
  }
  ADD_FAILURE() << "no error";
  return {};
}

TEST_F(SafeFileTest, WritesAllBytesAndNothingElse) {
  std::vector<std::uint8_t> bytes(9'000'000);  // more than two chunks
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  for (const Durability durability : {Durability::Synced, Durability::Cached}) {
    WriteWholeFile(Path("x"), bytes, Existing::Overwrite, durability);
    EXPECT_EQ(Read(Path("x")), bytes);
    EXPECT_EQ(Names(), std::vector<std::string>{"x"});
  }
}

TEST_F(SafeFileTest, WritesAnEmptyFile) {
  WriteWholeFile(Path("x"), {}, Existing::Keep, Durability::Synced);
  EXPECT_EQ(fs::file_size(Path("x")), 0U);
}

TEST_F(SafeFileTest, KeepsAnExistingFile) {
  const std::vector<std::uint8_t> precious = {1, 2, 3};
  WriteWholeFile(Path("x"), precious, Existing::Keep, Durability::Cached);
  const std::string error = ErrorOf(
      [&] { WriteWholeFile(Path("x"), std::vector<std::uint8_t>{9}, Existing::Keep, Durability::Cached); });
  EXPECT_NE(error.find("File exists"), std::string::npos);
  EXPECT_NE(error.find("allow overwriting"), std::string::npos);
  EXPECT_EQ(Read(Path("x")), precious);
  EXPECT_EQ(Names(), std::vector<std::string>{"x"});
}

TEST_F(SafeFileTest, KeepsADanglingLink) {
  fs::create_symlink("nowhere", Path("x"));
  ErrorOf([&] { WriteWholeFile(Path("x"), {}, Existing::Keep, Durability::Cached); });
  EXPECT_TRUE(fs::is_symlink(Path("x")));
}

TEST_F(SafeFileTest, StrangersWithTheHiddenNameAreLeftAlone) {
  const std::string stranger = ".orqcam-" + std::to_string(getpid()) + "-0.part";
  std::ofstream(Path(stranger)) << "theirs";
  WriteWholeFile(Path("x"), std::vector<std::uint8_t>{1}, Existing::Keep, Durability::Cached);
  EXPECT_EQ(Names(), (std::vector<std::string>{stranger, "x"}));
  EXPECT_EQ(fs::file_size(Path(stranger)), 6U);
}

TEST_F(SafeFileTest, SaysWhatIsWrongWithTheDirectory) {
  EXPECT_NE(ErrorOf([&] { CheckWritable(Path("no/x"), Existing::Keep); }).find("make the directory first"),
            std::string::npos);
  std::ofstream(Path("file")) << "";
  EXPECT_NE(ErrorOf([&] { CheckWritable(Path("file/x"), Existing::Keep); }).find("Not a directory"),
            std::string::npos);
  fs::create_directory(Path("dir"));
  EXPECT_NE(ErrorOf([&] { CheckWritable(Path("dir"), Existing::Overwrite); }).find("Is a directory"),
            std::string::npos);
}

TEST_F(SafeFileTest, AFreeNameIsWritable) {
  EXPECT_NO_THROW(CheckWritable(Path("x"), Existing::Keep));
  std::ofstream(Path("x")) << "";
  EXPECT_NO_THROW(CheckWritable(Path("x"), Existing::Overwrite));
  EXPECT_THROW(CheckWritable(Path("x"), Existing::Keep), Failure);
}

}  // namespace
}  // namespace orq::session
