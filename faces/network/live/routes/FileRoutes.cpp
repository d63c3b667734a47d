#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "live/routes/Routes.h"

namespace orq::network {
namespace {

std::optional<std::uint64_t> wholeOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// First and last byte of "bytes=FIRST-LAST", "bytes=FIRST-" or "bytes=-COUNT"; nothing: all is sent.
std::optional<std::pair<std::uint64_t, std::uint64_t>> rangeOf(const std::optional<std::string>& header,
                                                               std::uint64_t size) {
  constexpr std::string_view kUnit = "bytes=";
  if (!header || !header->starts_with(kUnit) || size == 0) return std::nullopt;
  const std::string_view range = std::string_view(*header).substr(kUnit.size());
  const std::size_t dash = range.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = wholeOf(range.substr(0, dash));
  const auto last = wholeOf(range.substr(dash + 1));
  if (!first && dash == 0 && last && *last > 0) return std::pair(size - std::min(*last, size), size - 1);
  if (!first || *first >= size || (!last && dash + 1 != range.size())) return std::nullopt;
  const std::uint64_t end = std::min(last.value_or(size - 1), size - 1);
  if (end < *first) return std::nullopt;
  return std::pair(*first, end);
}

Response download(const Folder& folder, const Request& request) {
  const std::string& name = request.capture("file");
  const OpenFile file = folder.open(name);
  Response response;
  response.headers = {{"Content-Type", "application/octet-stream"},
                      {"Content-Disposition", "attachment"},
                      {"Accept-Ranges", "bytes"}};
  const auto range = rangeOf(request.header("Range"), file.bytes);
  if (!range) {
    response.body = FileBody{file.descriptor, 0, file.bytes};
    return response;
  }
  response.status = 206;
  response.headers.emplace_back("Content-Range", "bytes " + std::to_string(range->first) + "-" +
                                                     std::to_string(range->second) + "/" +
                                                     std::to_string(file.bytes));
  response.body = FileBody{file.descriptor, range->first, range->second - range->first + 1};
  return response;
}

}  // namespace

void addFileRoutes(Router& router, Live& live) {
  router.add(
      "GET", "/api/v1/files",
      [&live](const Request&) {
        nlohmann::json list = nlohmann::json::array();
        for (const FolderFile& file : live.folder().list())
          list.push_back({{"name", file.name}, {"bytes", file.bytes}, {"changed", file.changedUnixS}});
        return Response::json(
            {{"folder", live.folder().path()}, {"free_bytes", live.folder().freeBytes()}, {"files", list}});
      });
  router.add("GET", "/api/v1/files/{file}",
             [&live](const Request& request) { return download(live.folder(), request); });
}

}  // namespace orq::network
