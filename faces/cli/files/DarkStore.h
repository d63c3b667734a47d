// Which dark belongs to which camera, from one run to the next.
#pragma once

#include <string>

#include "camera/Session.h"

namespace orq::cli {

/// The place of one camera's dark (by serial number; by model for cameras without one; virtual cameras apart) and
/// of the user's choice.
class DarkStore {
 public:
  explicit DarkStore(Session& session);

  /// Where the camera's dark is kept; empty without a place for it.
  const std::string& KeptPath() const { return kept_; }
  bool HasKept() const;
  /// Makes the directory. Throws CliError when there is no place.
  void DemandPlace() const;

  /// The dark that frames are corrected with by default; empty: none. Throws CliError when that cannot be told.
  std::string Chosen() const;
  /// Throws CliError.
  void Choose(const std::string& path) const;
  void ChooseNone() const;

 private:
  std::string directory_;  ///< empty: no place
  std::string kept_;
  std::string choice_;
};

}  // namespace orq::cli
