// Asking before something is lost.
#pragma once

#include <string>

namespace orq::cli {

/// Asks "`what`. Go on? [y/N]" at the terminal. Throws CliError (cancelled) unless the answer is yes.
void Confirm(const std::string& what);

/// Throws CliError (usage) when `Confirm` would have nobody to ask.
void DemandSomebodyToAsk(const std::string& what);

}  // namespace orq::cli
