#include "solver/terms/number.h"

#include <gmp.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace ordax {

struct Number::Big {
  mpz_t num;
  mpz_t den;
};

namespace {

constexpr std::uint64_t kTableSize = 1024;

// Common divisors of small words, shared by all threads. Zero-initialised, so that its pages are
// mapped only when they are touched. An entry of 0 has not been computed yet; two threads that
// compute one write the same.
std::atomic<std::uint16_t> gcd_table[kTableSize][kTableSize];

// Temporaries of the slow paths, of each thread: the result's numerator and denominator, and two
// more. Made on first use, so that a number may be built during static initialisation.
struct Scratch {
  mpz_t num;
  mpz_t den;
  mpz_t first;
  mpz_t second;
  Scratch() {
    mpz_init(num);
    mpz_init(den);
    mpz_init(first);
    mpz_init(second);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { mpz_clears(num, den, first, second, nullptr); }
};

Scratch& scratch() {
  thread_local Scratch instance;
  return instance;
}

std::uint64_t magnitude(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? ~bits + 1 : bits;
}

bool fits_small(mpz_srcptr value) {
  if (mpz_size(value) > 1) return false;
  return mpz_size(value) == 0 || mpz_getlimbn(value, 0) <= 0x7FFFFFFFFFFFFFFFu;
}

std::int64_t to_small(mpz_srcptr value) {
  if (mpz_size(value) == 0) return 0;
  const auto word = static_cast<std::int64_t>(mpz_getlimbn(value, 0));
  return mpz_sgn(value) < 0 ? -word : word;
}

std::size_t hash_mpz(mpz_srcptr value) {
  std::uint64_t h = mpz_sgn(value) < 0 ? 0x51ED270B0A1F39C1u : 0x2127599BF4325C37u;
  for (std::size_t i = 0; i < mpz_size(value); ++i) {
    h = (h ^ mpz_getlimbn(value, static_cast<mp_size_t>(i))) * 0x9E3779B97F4A7C15u;
    h ^= h >> 29;
  }
  return static_cast<std::size_t>(h);
}

static_assert(sizeof(mp_limb_t) == 8, "one limb holds a small numerator");

}  // namespace

// Reads a number of either form as two GMP integers, without an allocation.
struct Number::Operand {
  explicit Operand(const Number& n) {
    if (n.den_ == 0) {
      num = n.big()->num;
      den = n.big()->den;
      return;
    }
    num_limb_ = magnitude(n.num_);
    den_limb_ = static_cast<mp_limb_t>(n.den_);
    num = mpz_roinit_n(num_store_, &num_limb_, n.num_ < 0 ? -1 : (n.num_ > 0 ? 1 : 0));
    den = mpz_roinit_n(den_store_, &den_limb_, 1);
  }
  Operand(const Operand&) = delete;
  Operand& operator=(const Operand&) = delete;

  mpz_srcptr num = nullptr;
  mpz_srcptr den = nullptr;

 private:
  mp_limb_t num_limb_ = 0;
  mp_limb_t den_limb_ = 0;
  mpz_t num_store_;
  mpz_t den_store_;
};

std::uint64_t Number::gcd64(std::uint64_t a, std::uint64_t b) {
  while (a >= kTableSize || b >= kTableSize) {
    if (a == 0) return b;
    if (b == 0) return a;
    if (a > b) {
      a %= b;
    } else {
      b %= a;
    }
  }
  if (a <= 1 || b <= 1) return a == 1 || b == 1 ? 1 : a | b;
  std::uint16_t entry = gcd_table[a][b].load(std::memory_order_relaxed);
  if (entry == 0) {
    std::uint64_t x = a;
    std::uint64_t y = b;
    while (y != 0) {
      const std::uint64_t rest = x % y;
      x = y;
      y = rest;
    }
    entry = static_cast<std::uint16_t>(x);
    gcd_table[a][b].store(entry, std::memory_order_relaxed);
    gcd_table[b][a].store(entry, std::memory_order_relaxed);
  }
  return entry;
}

// Takes the scratch numerator and denominator as the new value.
void Number::store_scratch(bool reduce) {
  Scratch& s = scratch();
  if (reduce && mpz_cmp_ui(s.den, 1) != 0) {
    mpz_gcd(s.first, s.num, s.den);
    if (mpz_cmp_ui(s.first, 1) != 0) {
      mpz_divexact(s.num, s.num, s.first);
      mpz_divexact(s.den, s.den, s.first);
    }
  }
  if (fits_small(s.num) && fits_small(s.den)) {
    if (den_ == 0) free_big();
    num_ = to_small(s.num);
    den_ = to_small(s.den);
    return;
  }
  if (den_ != 0) {
    Big* const record = new Big;
    mpz_init(record->num);
    mpz_init(record->den);
    num_ = reinterpret_cast<std::int64_t>(record);
    den_ = 0;
  }
  mpz_swap(big()->num, s.num);
  mpz_swap(big()->den, s.den);
}

Number::Number(std::int64_t numerator, std::int64_t denominator) : num_(0), den_(1) {
  const std::uint64_t top = magnitude(numerator);
  const std::uint64_t bottom = magnitude(denominator);
  const std::uint64_t common = gcd64(top, bottom);
  const bool negative = (numerator < 0) != (denominator < 0);
  Scratch& s = scratch();
  mpz_set_ui(s.num, top / common);
  mpz_set_ui(s.den, bottom / common);
  if (negative) mpz_neg(s.num, s.num);
  store_scratch(/*reduce=*/false);
}

void Number::make_min() {
  num_ = 0;
  Scratch& s = scratch();
  mpz_set_si(s.num, kMin);
  mpz_set_ui(s.den, 1);
  store_scratch(/*reduce=*/false);
}

void Number::copy_big(const Number& other) {
  Big* const record = new Big;
  mpz_init_set(record->num, other.big()->num);
  mpz_init_set(record->den, other.big()->den);
  num_ = reinterpret_cast<std::int64_t>(record);
}

void Number::assign_slow(const Number& other) {
  if (this == &other) return;
  if (other.den_ != 0) {
    free_big();
    num_ = other.num_;
    den_ = other.den_;
  } else if (den_ != 0) {
    copy_big(other);
    den_ = 0;
  } else {
    mpz_set(big()->num, other.big()->num);
    mpz_set(big()->den, other.big()->den);
  }
}

void Number::free_big() noexcept {
  mpz_clear(big()->num);
  mpz_clear(big()->den);
  delete big();
}

bool Number::big_is_integer() const {
  return mpz_cmp_ui(big()->den, 1) == 0;
}

int Number::big_sign() const {
  return mpz_sgn(big()->num);
}

std::size_t Number::big_hash() const {
  return hash_mpz(big()->num) * 31 + hash_mpz(big()->den);
}

void Number::negate_big() {
  // 2^63 is big, but so is its negation, which is never small either: the form stays.
  mpz_neg(big()->num, big()->num);
}

void Number::add_slow(const Number& other, bool subtract) {
  if (den_ != 0 && other.den_ != 0) {
    // Knuth, TAOCP volume 2, 4.5.1: with g = gcd(b, d) only gcd(t, g) is left to divide out.
    const std::int64_t other_num = subtract ? -other.num_ : other.num_;
    const std::int64_t g =
        den_ == 1 || other.den_ == 1
            ? 1
            : static_cast<std::int64_t>(
                  gcd64(static_cast<std::uint64_t>(den_), static_cast<std::uint64_t>(other.den_)));
    const std::int64_t my_part = den_ / g;
    const std::int64_t other_part = other.den_ / g;
    std::int64_t left = 0;
    std::int64_t right = 0;
    std::int64_t top = 0;
    if (!__builtin_mul_overflow(num_, other_part, &left) &&
        !__builtin_mul_overflow(other_num, my_part, &right) &&
        !__builtin_add_overflow(left, right, &top)) {
      const auto rest = static_cast<std::int64_t>(
          g == 1 ? 1 : gcd64(magnitude(top), static_cast<std::uint64_t>(g)));
      std::int64_t bottom = 0;
      top /= rest;
      if (top != kMin && !__builtin_mul_overflow(my_part, other.den_ / rest, &bottom)) {
        num_ = top;
        den_ = top == 0 ? 1 : bottom;
        return;
      }
    }
  }
  Scratch& s = scratch();
  const Operand a(*this);
  const Operand b(other);
  mpz_mul(s.num, a.num, b.den);
  mpz_mul(s.first, b.num, a.den);
  if (subtract) {
    mpz_sub(s.num, s.num, s.first);
  } else {
    mpz_add(s.num, s.num, s.first);
  }
  mpz_mul(s.den, a.den, b.den);
  store_scratch(/*reduce=*/true);
}

void Number::mul_slow(const Number& other) {
  if (den_ != 0 && other.den_ != 0) {
    const std::int64_t left_common =
        other.den_ == 1 ? 1
                        : static_cast<std::int64_t>(
                              gcd64(magnitude(num_), static_cast<std::uint64_t>(other.den_)));
    const std::int64_t right_common =
        den_ == 1 ? 1
                  : static_cast<std::int64_t>(
                        gcd64(magnitude(other.num_), static_cast<std::uint64_t>(den_)));
    std::int64_t top = 0;
    std::int64_t bottom = 0;
    if (!__builtin_mul_overflow(num_ / left_common, other.num_ / right_common, &top) &&
        top != kMin &&
        !__builtin_mul_overflow(den_ / right_common, other.den_ / left_common, &bottom)) {
      num_ = top;
      den_ = top == 0 ? 1 : bottom;
      return;
    }
  }
  Scratch& s = scratch();
  const Operand a(*this);
  const Operand b(other);
  mpz_mul(s.num, a.num, b.num);
  mpz_mul(s.den, a.den, b.den);
  store_scratch(/*reduce=*/true);
}

Number& Number::addmul_slow(const Number& a, const Number& b) {
  Number product(a);
  product *= b;
  return *this += product;
}

Number& Number::operator/=(const Number& other) {
  if (other.is_one()) return *this;
  return *this *= other.inverse();
}

Number Number::inverse() const {
  Number result;
  if (den_ != 0) {
    result.num_ = num_ < 0 ? -den_ : den_;
    result.den_ = num_ < 0 ? -num_ : num_;
    return result;
  }
  // One of the two words does not fit, and it still doesn't on the other side of the line.
  result.copy_big(*this);
  result.den_ = 0;
  Big* const record = result.big();
  mpz_swap(record->num, record->den);
  if (mpz_sgn(record->den) < 0) {
    mpz_neg(record->num, record->num);
    mpz_neg(record->den, record->den);
  }
  return result;
}

int Number::compare_slow(const Number& a, const Number& b) {
  if (a.den_ != 0 && b.den_ != 0) {
    __extension__ using Wide = __int128;
    const Wide left = static_cast<Wide>(a.num_) * b.den_;
    const Wide right = static_cast<Wide>(b.num_) * a.den_;
    return (left > right) - (left < right);
  }
  const int sign_a = a.sign();
  const int sign_b = b.sign();
  if (sign_a != sign_b) return sign_a < sign_b ? -1 : 1;
  const Operand x(a);
  const Operand y(b);
  Scratch& s = scratch();
  mpz_mul(s.first, x.num, y.den);
  mpz_mul(s.second, y.num, x.den);
  return mpz_cmp(s.first, s.second);
}

Number Number::numerator() const {
  if (den_ != 0) return Number(num_);
  Number result;
  Scratch& s = scratch();
  mpz_set(s.num, big()->num);
  mpz_set_ui(s.den, 1);
  result.store_scratch(/*reduce=*/false);
  return result;
}

Number Number::denominator() const {
  if (den_ != 0) return Number(den_);
  Number result;
  Scratch& s = scratch();
  mpz_set(s.num, big()->den);
  mpz_set_ui(s.den, 1);
  result.store_scratch(/*reduce=*/false);
  return result;
}

Number Number::round(bool up) const {
  if (den_ == 1) return *this;
  if (den_ != 0) {
    // The quotient of C++ goes towards zero, and it is inexact here.
    const std::int64_t quotient = num_ / den_;
    if (up) return Number(num_ > 0 ? quotient + 1 : quotient);
    return Number(num_ < 0 ? quotient - 1 : quotient);
  }
  Number result;
  Scratch& s = scratch();
  if (up) {
    mpz_cdiv_q(s.num, big()->num, big()->den);
  } else {
    mpz_fdiv_q(s.num, big()->num, big()->den);
  }
  mpz_set_ui(s.den, 1);
  result.store_scratch(/*reduce=*/false);
  return result;
}

Number Number::floor() const {
  return round(/*up=*/false);
}

Number Number::ceil() const {
  return round(/*up=*/true);
}

double Number::to_double() const {
  if (den_ != 0) return static_cast<double>(num_) / static_cast<double>(den_);
  mpq_t value;
  mpq_init(value);
  mpz_set(mpq_numref(value), big()->num);
  mpz_set(mpq_denref(value), big()->den);
  const double result = mpq_get_d(value);
  mpq_clear(value);
  return result;
}

Number Number::gcd(const Number& a, const Number& b) {
  Number result;
  Scratch& s = scratch();
  if (a.den_ != 0 && b.den_ != 0) {
    // The magnitudes are below 2^63, and so is their divisor.
    result.num_ = static_cast<std::int64_t>(gcd64(magnitude(a.num_), magnitude(b.num_)));
    return result;
  }
  const Operand x(a);
  const Operand y(b);
  mpz_gcd(s.num, x.num, y.num);
  mpz_set_ui(s.den, 1);
  result.store_scratch(/*reduce=*/false);
  return result;
}

Number Number::lcm(const Number& a, const Number& b) {
  if (a.is_zero() || b.is_zero()) return Number();
  Number result = a.abs();
  result /= gcd(a, b);
  result *= b.abs();
  return result;
}

std::string Number::to_string() const {
  if (den_ == 1) return std::to_string(num_);
  if (den_ != 0) return std::to_string(num_) + "/" + std::to_string(den_);
  std::string text(mpz_sizeinbase(big()->num, 10) + 2, '\0');
  mpz_get_str(text.data(), 10, big()->num);
  text.resize(std::strlen(text.c_str()));
  if (big_is_integer()) return text;
  std::string bottom(mpz_sizeinbase(big()->den, 10) + 2, '\0');
  mpz_get_str(bottom.data(), 10, big()->den);
  bottom.resize(std::strlen(bottom.c_str()));
  return text + "/" + bottom;
}

Number Number::from_str(std::string_view text) {
  const auto fail = [&]() -> error {
    return error("invalid argument to Number::from_str: " + std::string(text));
  };
  const auto digits_from = [&](std::size_t start) {
    std::size_t end = start;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    return end;
  };
  const std::size_t first = !text.empty() && text[0] == '-' ? 1 : 0;
  const std::size_t middle = digits_from(first);
  if (middle == first) throw fail();
  std::string top(text.substr(0, middle));
  std::string bottom = "1";
  if (middle < text.size()) {
    const std::size_t end = digits_from(middle + 1);
    if (end != text.size() || end == middle + 1) throw fail();
    const std::string rest(text.substr(middle + 1));
    if (text[middle] == '/') {
      bottom = rest;
    } else if (text[middle] == '.') {
      top += rest;
      bottom.append(rest.size(), '0');
    } else {
      throw fail();
    }
  }
  Scratch& s = scratch();
  mpz_set_str(s.num, top.c_str(), 10);
  mpz_set_str(s.den, bottom.c_str(), 10);
  if (mpz_sgn(s.den) == 0) throw fail();
  Number result;
  result.store_scratch(/*reduce=*/true);
  return result;
}

}  // namespace ordax
