#include "output/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "options/Hints.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::size_t kBufferBytes = 1 << 16;

// A closed standard descriptor would be given to the next file opened, and messages would end up in it.
void FillStandardDescriptors() {
  for (;;) {
    const int fd = open("/dev/null", O_RDWR);
    if (fd > STDERR_FILENO || fd < 0) {
      if (fd >= 0) close(fd);
      return;
    }
  }
}

std::string ValueText(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_null()) return "none";
  if (value.is_array()) {
    std::vector<std::string> parts;
    for (const Json& part : value) parts.push_back(ValueText(part));
    return Join(parts);
  }
  return value.dump();
}

bool g_speaksJson = false;  // written before any thread is started

std::string OneLine(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A message may quote what the user typed: one line it stays, and it gives the terminal no orders.
std::string Shown(std::string_view message) {
  std::string line = "orqcam: ";
  line += message;
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
  return line;
}

void WriteError(std::string line) {
  line += '\n';
  // Standard error may be full or closed as well; there is nobody left to tell then.
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
}

void ComplainLast(const char* name, std::string_view why, int code) {
  const std::string message = WithHints(why);
  if (g_speaksJson)
    WriteError(OneLine({{"error", name}, {"message", message}, {"exit_code", code}}));
  else
    WriteError(Shown(message));
}

std::string JsonKey(const std::string& key, const std::string& unit) {
  // What is counted needs no unit in a key.
  if (unit.empty() || unit == "frames" || unit == "transfers" || unit == "px") return key;
  if (unit == "MB/s") return key + "_mb_per_s";
  if (unit == "%") return key + "_percent";
  return key + "_" + Lower(unit);
}

}  // namespace

Output::Output() {
  const bool open = fcntl(STDOUT_FILENO, F_GETFD) >= 0;
  FillStandardDescriptors();
  if (open) fd_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::~Output() {
  if (fd_ >= 0) close(fd_);
}

void Output::Line(std::string_view text) {
  buffer_ += text;
  buffer_ += '\n';
  if (buffer_.size() >= kBufferBytes) Flush();
}

void Output::Object(const Json& value) {
  Line(OneLine(value));
}

void Output::Flush() {
  std::string pending;
  pending.swap(buffer_);
  if (failed_) return;
  std::size_t done = 0;
  while (done < pending.size()) {
    const ssize_t count = write(fd_, pending.data() + done, pending.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      failed_ = true;
      throw CliError(ORQ_ERROR_FILE, std::string("cannot write to standard output: ") + std::strerror(errno));
    }
    done += static_cast<std::size_t>(count);
  }
}

void Output::HandOver() {
  Flush();
  dup2(fd_, STDOUT_FILENO);
}

bool Output::IsTerminal() const {
  return isatty(fd_) == 1;
}

void Report::Add(std::string key, Json value, std::string unit) {
  entries_.push_back({std::move(key), std::move(value), std::move(unit)});
}

Json Report::ToJson() const {
  Json object = Json::object();
  for (const Entry& entry : entries_) object[JsonKey(entry.key, entry.unit)] = entry.value;
  return object;
}

std::vector<std::string> Report::ToLines() const {
  std::vector<std::string> lines;
  for (const Entry& entry : entries_) {
    lines.push_back(entry.key + " = " + ValueText(entry.value) +
                    (entry.unit.empty() || entry.value.is_null() ? "" : " " + entry.unit));
  }
  return lines;
}

void Report::Print(Output& out, bool json) const {
  if (json) return out.Object(ToJson());
  for (const std::string& line : ToLines()) out.Line(line);
}

void PrintTable(Output& out, const Table& table) {
  std::vector<std::size_t> widths(table.front().size());
  for (const auto& row : table)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  for (const auto& row : table) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
    }
    out.Line(line);
  }
}

void Complain(std::string_view what) {
  const std::string message = WithHints(what);
  if (g_speaksJson)
    WriteError(OneLine({{"warning", message}}));
  else
    WriteError(Shown(message));
}

void ComplainLast(const Error& error) {
  ComplainLast(orq_status_name(error.status()), error.what(), ExitCodeOf(error));
}

void SpeakJson() {
  g_speaksJson = true;
}

}  // namespace orq::cli
