// What the kernel said about our cameras.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orq::cli {

/// Of the kernel's log those lines that concern cameras of ours: of their place on the bus, and of USB as a whole.
/// Other devices are nobody's business; serial numbers are left out.
std::vector<std::string> CameraLines(std::string_view kernelLog);

/// The kernel's log; empty, with the trouble as one line, when it cannot be read.
std::string ReadKernelLog(std::string& trouble);

}  // namespace orq::cli
