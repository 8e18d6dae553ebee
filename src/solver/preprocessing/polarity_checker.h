#pragma once

#include <utility>
#include <vector>

#include "solver/base/exception.h"
#include "solver/terms/polarity_store.h"
#include "solver/terms/term.h"

namespace ordax {

/// Fills the polarity store: walks formulas and records for each Boolean term whether it occurs
/// positively, negatively or both.
class PolarityChecker {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  /// Adds the signs of a formula that occurs with `signs`. Its new relations, equalities and "at
  /// most", are appended to `relations` if that is not null; one may come twice.
  void add(TermRef formula, std::uint8_t signs = PolarityStore::POSITIVE,
           std::vector<TermRef>* relations = nullptr);

  const PolarityStore& store() const { return store_; }
  /// The signs of a Boolean term; fails for any other.
  std::uint8_t polarity(TermRef term) const;

 private:
  PolarityStore store_;
  std::vector<std::pair<TermRef, std::uint8_t>> stack_;
};

}  // namespace ordax
