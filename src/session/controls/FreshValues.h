// What a camera's controls have at first.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "session/controls/Controls.h"

namespace orq::session {

/// What the controls of a fresh camera have: of the same model on the same kind of port, with nothing kept.
class FreshValues {
 public:
  explicit FreshValues(const CModelCamera& camera);
  ~FreshValues();
  FreshValues(const FreshValues&) = delete;
  FreshValues& operator=(const FreshValues&) = delete;
  /// Nothing for what can only be read.
  std::optional<std::int64_t> Of(const Control& control) const;

 private:
  const std::unique_ptr<CModelCamera> camera_;
};

}  // namespace orq::session
