#include "solver/la/bound_value.h"

#include <mutex>
#include <new>
#include <utility>

#include "solver/base/pool.h"

namespace ordax::la {

struct BoundValue::Record {
  Number rational;
  Number infinitesimal;
  std::uint32_t count;

  static void* allocate() {
    if (free_records == nullptr) refill();
    Free* const block = free_records;
    free_records = block->next;
    return block;
  }
  static void free(void* block) noexcept {
    if (free_records == nullptr) leave_behind_at_exit();
    free_records = ::new (block) Free{free_records};
  }

 private:
  struct Free {
    Free* next;
  };
  // What threads that ended have left, and all memory there is: never freed, for values may outlive
  // static objects.
  struct Reserve {
    std::mutex mutex;
    Free* left = nullptr;
    BlockPool blocks{sizeof(Record)};
  };
  static constexpr int kRefill = 64;

  static Reserve& reserve() {
    static Reserve* const instance = new Reserve;
    return *instance;
  }
  static void refill();
  static void leave_behind_at_exit() noexcept;

  // Records come and go in the innermost loops, so each thread has free ones of its own. Which
  // thread gives a record back does not matter.
  static thread_local Free* free_records;
};

thread_local BoundValue::Record::Free* BoundValue::Record::free_records = nullptr;

void BoundValue::Record::refill() {
  Reserve& shared = reserve();
  const std::lock_guard<std::mutex> lock(shared.mutex);
  leave_behind_at_exit();
  std::swap(free_records, shared.left);
  for (int i = 0; free_records == nullptr || i < kRefill; ++i) {
    free_records = ::new (shared.blocks.allocate()) Free{free_records};
  }
}

void BoundValue::Record::leave_behind_at_exit() noexcept {
  struct Heir {
    ~Heir() {
      Reserve& shared = reserve();
      const std::lock_guard<std::mutex> lock(shared.mutex);
      while (free_records != nullptr) {
        Free* const block = free_records;
        free_records = block->next;
        block->next = shared.left;
        shared.left = block;
      }
    }
  };
  static thread_local Heir heir;
  (void)heir;
}

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
  word_ = reinterpret_cast<std::int64_t>(::new (Record::allocate()) Record{
      std::move(rational), std::move(infinitesimal), /*count=*/1});
}

void BoundValue::hold() const noexcept {
  ++record()->count;
}

void BoundValue::release() noexcept {
  Record* const dead = record();
  if (--dead->count != 0) return;
  dead->~Record();
  Record::free(dead);
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
