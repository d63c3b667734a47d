// How arbitrary bytes stand in an XML attribute.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orq {

/// UTF-8 that XML can hold: printable text stays as it is; control characters, percent signs and bytes that are no
/// UTF-8 become "%" and two hexadecimal digits.
std::string EscapeBytes(std::span<const unsigned char> bytes);
/// Undoes it. A percent sign without two hexadecimal digits behind it stands for itself.
std::vector<unsigned char> UnescapeBytes(std::string_view text);

}  // namespace orq
