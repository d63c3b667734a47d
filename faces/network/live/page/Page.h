// The files of the page, which are part of the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orq::network {

struct PageFile {
  const char* path;  ///< "/page/app.js"; the page itself is "/"
  const char* type;  ///< as HTTP names it
  const std::uint8_t* data;
  std::size_t size;
};

/// All of them.
const std::vector<PageFile>& pageFiles();

}  // namespace orq::network
