// The contents of a settings file: whatever they are, they are refused with a reason, or can be read, changed and
// written so that they read the same again.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "settings/XmlDocument.h"

namespace {

constexpr const char* kPath = "software\\Model";

void Require(bool holds) {
  if (!holds) std::abort();
}

orq::XmlDocument Reread(const orq::XmlDocument& document) {
  std::string reason;
  auto again = orq::XmlDocument::Parse(document.Text(), reason);
  Require(again.has_value());
  return std::move(*again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > orq::kMaxXmlBytes / 8) return 0;  // written, it must not grow beyond what is read
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string reason;
  auto document = orq::XmlDocument::Parse(text, reason);
  if (!document) {
    Require(!reason.empty() && reason.find('\n') == std::string::npos);
    return 0;
  }
  for (const orq::XmlKey& key : document->Keys())
    for (const auto& [name, value] : key.values) Require(value.data.size() <= orq::kMaxXmlValueBytes);
  const orq::XmlChanges changes = {{"Gain", {orq::kXmlInteger, {1, 2, 3, 4}}},
                                   {"BMPPATH", {orq::kXmlBytes, {data, data + size % 300}}}};
  document->Merge(kPath, changes);
  const orq::XmlDocument again = Reread(*document);
  const auto values = again.Read(kPath);
  Require(values && values->at("Gain") == changes[0].second && values->at("BMPPATH") == changes[1].second);
  Require(!document->Merge(kPath, changes));
  document->Remove(kPath);
  Reread(*document);
  return 0;
}
