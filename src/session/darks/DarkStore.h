// Which dark belongs to which camera, from one run to the next.
#pragma once

#include <string>

#include "models/table/ModelData.h"

namespace orq::session {

/// The place of one camera's dark (by serial number; by model for cameras without one; virtual cameras apart) and
/// of the user's choice.
class DarkStore {
 public:
  /// `stateDirectory`: what the user keeps (`StateDirectory`); empty: there is no place. `serial`: the camera's
  /// number, empty when it has none.
  DarkStore(const std::string& stateDirectory, const ModelData& model, const std::string& serial);

  /// Where the camera's dark is kept; empty without a place for it.
  const std::string& KeptPath() const { return kept_; }
  bool HasKept() const;
  /// Makes the directory. Throws Failure when there is no place.
  void DemandPlace() const;

  /// The dark that frames are corrected with by default; empty: none. Throws Failure when that cannot be told.
  std::string Chosen() const;
  /// Throws Failure.
  void Choose(const std::string& path) const;
  void ChooseNone() const;

 private:
  std::string directory_;  ///< empty: no place
  std::string kept_;
  std::string choice_;
};

}  // namespace orq::session
