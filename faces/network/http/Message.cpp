#include "http/Message.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace orq::network {

std::optional<std::string> Request::header(std::string_view name) const {
  for (const auto& [known, value] : headers)
    if (sameButForCase(known, name)) return value;
  return std::nullopt;
}

const std::string& Request::capture(std::string_view name) const {
  const auto found = captures.find(name);
  if (found == captures.end()) throw std::logic_error("the route has no {" + std::string(name) + "}");
  return found->second;
}

Response Response::json(const nlohmann::json& value, int status) {
  // What a camera or a file calls itself may be no UTF-8: it is shown as well as it can be.
  return text(status, "application/json", value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

Response Response::failure(int status, std::string_view name, std::string_view text) {
  return json({{"error", {{"name", name}, {"text", text}}}}, status);
}

Response Response::text(int status, std::string_view contentType, std::string text) {
  return {status, {{"Content-Type", std::string(contentType)}}, std::move(text)};
}

std::uint64_t Response::size() const {
  struct Size {
    std::uint64_t operator()(const std::string& text) const { return text.size(); }
    std::uint64_t operator()(const SharedBytes& bytes) const { return bytes.size; }
    std::uint64_t operator()(const GeneratedBody& made) const { return made.size.value_or(made.most); }
    std::uint64_t operator()(const FileBody& file) const { return file.size; }
  };
  return std::visit(Size(), body);
}

}  // namespace orq::network
