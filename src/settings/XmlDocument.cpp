#include "settings/XmlDocument.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <pugixml.hpp>
#include <span>
#include <utility>

#include "settings/XmlText.h"

namespace orq {
namespace {

constexpr const char* kRoot = "orqcam";
constexpr const char* kKeyElement = "key";
constexpr const char* kIntElement = "int";
constexpr const char* kByteElement = "byte";
constexpr const char* kTextElement = "text";
constexpr const char* kDataElement = "data";
constexpr const char* kName = "name";
constexpr const char* kValue = "value";
constexpr const char* kType = "type";

/// All of the file is kept, comments and unknown parts too.
constexpr unsigned kParseAll = pugi::parse_full;

std::string Escaped(std::string_view text) {
  return EscapeBytes({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

std::string NameOf(const pugi::xml_node& node) {
  const std::vector<unsigned char> name = UnescapeBytes(node.attribute(kName).value());
  return {name.begin(), name.end()};
}

/// The parts of a path, escaped as the file has them.
std::vector<std::string> PartsOf(std::string_view path) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t end = path.find('\\');
    parts.push_back(Escaped(path.substr(0, end)));
    if (end == std::string_view::npos) return parts;
    path.remove_prefix(end + 1);
  }
}

bool FitsDepth(const std::vector<std::string>& parts) {
  return parts.size() + 2 <= kMaxXmlDepth;  // below the root, above the values
}

/// A decimal number; one beyond the limits counts as the limit. Nothing for what is none.
std::optional<std::int32_t> ParseNumber(std::string_view text, std::int32_t least, std::int32_t most) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) return text.front() == '-' ? least : most;
  if (error != std::errc()) return std::nullopt;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, least, most));
}

XmlValue IntegerValue(std::int32_t number) {
  XmlValue value{kXmlInteger, std::vector<unsigned char>(sizeof number)};
  std::memcpy(value.data.data(), &number, sizeof number);
  return value;
}

/// The value that an element stands for; nothing when it is no value, or one that makes no sense.
std::optional<XmlValue> ParseValue(const pugi::xml_node& node) {
  const std::string_view element = node.name();
  const std::string_view text = node.attribute(kValue).value();
  if (element == kIntElement) {
    const auto number = ParseNumber(text, INT32_MIN, INT32_MAX);
    return number ? std::optional(IntegerValue(*number)) : std::nullopt;
  }
  if (element == kByteElement) {
    const auto number = ParseNumber(text, 0, 255);
    if (!number) return std::nullopt;
    return XmlValue{kXmlBytes, {static_cast<unsigned char>(*number)}};
  }
  std::optional<std::int32_t> type;
  if (element == kTextElement) type = kXmlBytes;
  if (element == kDataElement) type = ParseNumber(node.attribute(kType).value(), INT32_MIN, INT32_MAX);
  if (!type) return std::nullopt;
  XmlValue value{*type, UnescapeBytes(text)};
  return value.data.size() <= kMaxXmlValueBytes ? std::optional(std::move(value)) : std::nullopt;
}

bool IsValueElement(const pugi::xml_node& node) {
  const std::string_view element = node.name();
  return element == kIntElement || element == kByteElement || element == kTextElement || element == kDataElement;
}

void SetAttribute(pugi::xml_node& node, const char* name, const std::string& value) {
  pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) attribute = node.append_attribute(name);
  attribute.set_value(value.c_str());
}

/// Gives an element the form that fits the value best.
void WriteValue(pugi::xml_node& node, const XmlValue& value) {
  node.remove_attribute(kType);
  if (value.type == kXmlInteger && value.data.size() == sizeof(std::int32_t)) {
    std::int32_t number = 0;
    std::memcpy(&number, value.data.data(), sizeof number);
    node.set_name(kIntElement);
    SetAttribute(node, kValue, std::to_string(number));
  } else if (value.type == kXmlBytes && value.data.size() == 1) {
    node.set_name(kByteElement);
    SetAttribute(node, kValue, std::to_string(value.data[0]));
  } else if (value.type == kXmlBytes) {
    node.set_name(kTextElement);
    SetAttribute(node, kValue, EscapeBytes(value.data));
  } else {
    node.set_name(kDataElement);
    SetAttribute(node, kValue, EscapeBytes(value.data));
    SetAttribute(node, kType, std::to_string(value.type));
  }
}

XmlValues ValuesOf(const pugi::xml_node& key) {
  XmlValues values;
  for (const pugi::xml_node& node : key)
    if (auto value = ParseValue(node)) values.try_emplace(NameOf(node), std::move(*value));
  return values;
}

/// Depth of the deepest element; walked without recursion, because the file decides how deep it is.
int DepthOf(const pugi::xml_node& root) {
  int depth = 1;
  int deepest = 1;
  pugi::xml_node node = root;
  for (;;) {
    if (const pugi::xml_node child = node.first_child()) {
      node = child;
      deepest = std::max(deepest, ++depth);
      continue;
    }
    while (node != root && !node.next_sibling()) {
      node = node.parent();
      --depth;
    }
    if (node == root) return deepest;
    node = node.next_sibling();
  }
}

struct TextWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override { text.append(static_cast<const char*>(data), size); }
};

}  // namespace

struct XmlDocument::Impl {
  pugi::xml_document document;

  pugi::xml_node Root() const { return document.child(kRoot); }

  pugi::xml_node Find(std::string_view path) const {
    pugi::xml_node key = Root();
    for (const std::string& part : PartsOf(path)) {
      key = key.find_child([&](const pugi::xml_node& node) {
        return std::string_view(node.name()) == kKeyElement && Escaped(NameOf(node)) == part;
      });
    }
    return key;
  }

  pugi::xml_node FindOrMake(std::string_view path) {
    std::size_t end = path.rfind('\\');
    pugi::xml_node key = Find(path);
    if (key) return key;
    pugi::xml_node parent =
        end == std::string_view::npos ? document.child(kRoot) : FindOrMake(path.substr(0, end));
    key = parent.append_child(kKeyElement);
    SetAttribute(key, kName, Escaped(end == std::string_view::npos ? path : path.substr(end + 1)));
    return key;
  }
};

XmlDocument::XmlDocument() : impl_(std::make_unique<Impl>()) {
  pugi::xml_node declaration = impl_->document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  impl_->document.append_child(kRoot);
}

XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&& other) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&& other) noexcept = default;

std::optional<XmlDocument> XmlDocument::Parse(std::string_view text, std::string& reason) {
  if (text.size() > kMaxXmlBytes) {
    reason = "it is larger than " + std::to_string(kMaxXmlBytes) + " bytes";
    return std::nullopt;
  }
  XmlDocument made;
  pugi::xml_document& document = made.impl_->document;
  const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size(), kParseAll);
  if (!result) {
    reason = "it is no XML: " + std::string(result.description()) + " at byte " + std::to_string(result.offset);
    return std::nullopt;
  }
  if (DepthOf(document) > kMaxXmlDepth + 1) {
    reason = "it is nested too deeply";
    return std::nullopt;
  }
  if (!made.impl_->Root()) {
    reason = "it holds no settings";
    return std::nullopt;
  }
  // Whatever encoding the file was in, it is written in this one.
  for (pugi::xml_node& node : document)
    if (node.type() == pugi::node_declaration) SetAttribute(node, "encoding", "UTF-8");
  return made;
}

std::string XmlDocument::Text() const {
  TextWriter writer;
  impl_->document.save(writer, "  ", pugi::format_indent, pugi::encoding_utf8);
  return std::move(writer.text);
}

std::optional<XmlValues> XmlDocument::Read(std::string_view path) const {
  const pugi::xml_node key = impl_->Find(path);
  if (!key) return std::nullopt;
  return ValuesOf(key);
}

bool XmlDocument::Create(std::string_view path) {
  if (impl_->Find(path) || !FitsDepth(PartsOf(path))) return false;
  return static_cast<bool>(impl_->FindOrMake(path));
}

bool XmlDocument::Merge(std::string_view path, const XmlChanges& values) {
  if (!FitsDepth(PartsOf(path))) return false;
  bool changed = Create(path);
  pugi::xml_node key = impl_->Find(path);
  const XmlValues before = ValuesOf(key);
  for (const auto& [name, value] : values) {
    const auto old = before.find(name);
    if (old != before.end() && old->second == value) continue;
    pugi::xml_node node = key.find_child([&, &wanted = name](const pugi::xml_node& other) {
      return IsValueElement(other) && NameOf(other) == wanted;
    });
    if (!node) node = key.append_child(kDataElement);
    SetAttribute(node, kName, Escaped(name));
    WriteValue(node, value);
    changed = true;
  }
  return changed;
}

bool XmlDocument::Remove(std::string_view path) {
  pugi::xml_node key = impl_->Find(path);
  return key && key.parent().remove_child(key);
}

std::vector<XmlKey> XmlDocument::Keys() const {
  std::vector<XmlKey> keys;
  std::vector<std::pair<pugi::xml_node, std::string>> open{{impl_->Root(), ""}};
  while (!open.empty()) {
    const auto [node, path] = std::move(open.back());
    open.pop_back();
    XmlValues values = ValuesOf(node);
    const bool top = node == impl_->Root();
    if (!top && !values.empty()) keys.push_back({path, std::move(values)});
    std::vector<std::pair<pugi::xml_node, std::string>> children;
    for (const pugi::xml_node& child : node.children(kKeyElement))
      children.emplace_back(child, top ? NameOf(child) : path + '\\' + NameOf(child));
    open.insert(open.end(), children.rbegin(), children.rend());
  }
  return keys;
}

}  // namespace orq
