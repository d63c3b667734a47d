// The library's FITS cards in a file that INDI makes.
#pragma once

#include <fitsio.h>

#include <orqcam/orqcam.hpp>

namespace orq::indi {

/// Writes all cards of `frame`: those that INDI has written already are replaced, so that no keyword comes twice
/// and every one says the same as in files of the command line.
void writeHeader(fitsfile* file, const Frame& frame);

}  // namespace orq::indi
