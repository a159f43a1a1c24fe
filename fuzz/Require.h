// Require: what must hold whatever the input; a run where it does not is a finding.

#pragma once

#include <cstdlib>

inline void Require(bool holds) {
  if (!holds) std::abort();
}
