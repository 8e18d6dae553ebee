#include "solver/la/bound_value.h"

#include <new>
#include <utility>

#include "solver/base/pool.h"

namespace ordax::la {

struct BoundValue::Record {
  Number rational;
  Number infinitesimal;
  std::uint32_t count;

  /// Records come and go in the innermost loops. The pool is never freed: values may outlive it.
  static BlockPool& pool() {
    static BlockPool* const records = new BlockPool(sizeof(Record));
    return *records;
  }
};

BoundValue::BoundValue(const Number& rational, const Number& infinitesimal) : word_(1) {
  set(rational, infinitesimal);
}

bool BoundValue::pack(const Number& rational, const Number& infinitesimal, std::int64_t& word) {
  if (!rational.is_small_integer() || !infinitesimal.is_small_integer()) return false;
  const std::int64_t r = rational.small_numerator();
  const std::int64_t k = infinitesimal.small_numerator();
  constexpr std::int64_t kMaxRational = std::int64_t{1} << 42;
  if (r < -kMaxRational || r > kMaxRational || k < -kMaxInfinitesimal || k > kMaxInfinitesimal) {
    return false;
  }
  const std::int64_t payload = r * kOne + k;
  if (payload < -kMaxPayload || payload > kMaxPayload) return false;
  word = payload * 2 + 1;
  return true;
}

// The word holds nothing that has to be released.
void BoundValue::set(Number rational, Number infinitesimal) {
  if (pack(rational, infinitesimal, word_)) return;
  word_ = reinterpret_cast<std::int64_t>(::new (Record::pool().allocate()) Record{
      std::move(rational), std::move(infinitesimal), /*count=*/1});
}

void BoundValue::hold() const noexcept {
  ++record()->count;
}

void BoundValue::release() noexcept {
  Record* const dead = record();
  if (--dead->count != 0) return;
  dead->~Record();
  Record::pool().release(dead);
}

Number BoundValue::rational() const {
  if (!is_inline()) return record()->rational;
  return Number((payload() - small_part(payload())) / kOne);
}

Number BoundValue::infinitesimal() const {
  if (!is_inline()) return record()->infinitesimal;
  return Number(small_part(payload()));
}

bool BoundValue::big_is_integer() const {
  return record()->infinitesimal.is_zero() && record()->rational.is_integer();
}

bool BoundValue::big_is_simple() const {
  constexpr std::int64_t kMaxDenominator = 1 << 20;
  const Number& r = record()->rational;
  const Number& k = record()->infinitesimal;
  return r.is_small() && k.is_small() && r.small_denominator() <= kMaxDenominator &&
         k.small_denominator() <= kMaxDenominator;
}

Number BoundValue::floor() const {
  const Number r = rational();
  if (r.is_integer()) return infinitesimal().sign() < 0 ? r - Number(1) : r;
  return r.floor();
}

Number BoundValue::ceil() const {
  const Number r = rational();
  if (r.is_integer()) return infinitesimal().sign() > 0 ? r + Number(1) : r;
  return r.ceil();
}

void BoundValue::addmul_slow(const Number& factor, const BoundValue& other) {
  if (!is_inline() && record()->count == 1) {
    Record& own = *record();
    own.rational.addmul(factor, other.rational());
    own.infinitesimal.addmul(factor, other.infinitesimal());
    std::int64_t word = 0;
    if (!pack(own.rational, own.infinitesimal, word)) return;
    release();
    word_ = word;
    return;
  }
  Number r = rational();
  Number k = infinitesimal();
  r.addmul(factor, other.rational());
  k.addmul(factor, other.infinitesimal());
  if (!is_inline()) release();
  set(std::move(r), std::move(k));
}

int BoundValue::compare_slow(const BoundValue& a, const BoundValue& b) {
  if (!a.is_inline() && !b.is_inline()) {
    const int order = Number::compare(a.record()->rational, b.record()->rational);
    if (order != 0) return order;
    return Number::compare(a.record()->infinitesimal, b.record()->infinitesimal);
  }
  const int order = Number::compare(a.rational(), b.rational());
  return order != 0 ? order : Number::compare(a.infinitesimal(), b.infinitesimal());
}

Number BoundValue::concrete(const Number& epsilon) const {
  Number result = rational();
  result.addmul(infinitesimal(), epsilon);
  return result;
}

std::string BoundValue::to_string() const {
  return rational().to_string() + " + " + infinitesimal().to_string() + "*eps";
}

}  // namespace ordax::la
