// Darks as files: an 8-bit greyscale BMP of the whole sensor, and beside it a description in JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "session/darks/DarkDescription.h"
#include "support/WholeFile.h"

namespace orq::session {

/// A dark as it is in a file.
struct DarkFile {
  std::vector<std::uint8_t> bytes;  ///< the whole BMP
  int width = 0;
  int height = 0;
  std::optional<DarkDescription> description;
  std::string trouble;  ///< why there is a description but it does not count; else empty
};

/// The name of the description of the dark `path`.
std::string DescriptionPath(const std::string& path);

/// The dark that the camera has in memory.
DarkFile MakeDarkFile(CModelCamera& camera, DarkDescription description);
/// Throws Failure: no such file, or no dark. A description that is missing, damaged or of another dark is no
/// error.
DarkFile ReadDarkFile(const std::string& path);
/// Throws Failure when the dark is of another geometry than the camera's sensor.
void DemandGeometry(const CModelCamera& camera, const DarkFile& dark, const std::string& path);

/// Throws Failure (invalid) for a name that does not end in ".bmp".
void DemandDarkName(const std::string& path);
/// Throws Failure when the dark or its description could not be written: better now than after the exposures.
void CheckDarkWritable(const std::string& path, Existing existing);
/// Dark and description; when one cannot be written, what was there before stays. Throws Failure.
void WriteDarkFile(const std::string& path, const DarkFile& dark, Existing existing);

}  // namespace orq::session
