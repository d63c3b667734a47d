// Small helpers for text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orq {

/// printf into a string.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Lower(std::string_view text);
std::string Join(const std::vector<std::string>& words, std::string_view separator = ", ");
std::vector<std::string> Split(std::string_view text, char separator);
/// The shortest decimal text that reads back as `value`.
std::string Number(double value);

}  // namespace orq
