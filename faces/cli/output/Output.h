// The data stream of the tool: what goes to standard output, and only that.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "output/ExitCodes.h"

namespace orq::cli {

using Json = nlohmann::ordered_json;

/// Standard output, kept apart: some code below prints on descriptor 1 of its own accord, so that is pointed at
/// standard error and the real output lives on a private descriptor. A write error (full disk, closed pipe)
/// throws CliError, once: what comes after it goes nowhere.
class Output {
 public:
  /// Once per process, before any other descriptor is opened.
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Line(std::string_view text);
  /// `value` on one line.
  void Object(const Json& value);
  /// Hands everything to the system; call it wherever a reader may be waiting.
  void Flush();
  /// Makes descriptor 1 the real output again, for the program that this process is about to become.
  void HandOver();
  /// Whether a person is looking.
  bool IsTerminal() const;

 private:
  int fd_ = -1;
  std::string buffer_;
  bool failed_ = false;
};

/// Named values that are shown as `key = value unit` lines or as one JSON object.
class Report {
 public:
  /// In JSON the unit joins the key: "pixel_size" and "um" make "pixel_size_um".
  void Add(std::string key, Json value, std::string unit = {});
  Json ToJson() const;
  std::vector<std::string> ToLines() const;
  void Print(Output& out, bool json) const;

 private:
  struct Entry {
    std::string key;
    Json value;
    std::string unit;
  };
  std::vector<Entry> entries_;
};

/// Rows of equally many cells.
using Table = std::vector<std::vector<std::string>>;
/// Columns wide enough for their widest cell, two blanks apart.
void PrintTable(Output& out, const Table& table);

/// One line for people, on standard error; for programs (`SpeakJson`) the object {"warning": message}.
void Complain(std::string_view message);
/// Why the run ends: a line like the above, or the object {"error": name, "message": ..., "exit_code": ...}.
void ComplainLast(const Error& error);
/// From now on standard error speaks to programs. Before any thread is started.
void SpeakJson();

}  // namespace orq::cli
