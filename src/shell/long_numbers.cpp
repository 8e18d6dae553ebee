#include "shell/long_numbers.h"

#include <gmp.h>

#include <utility>
#include <vector>

namespace kelvo {

namespace {

using Limb = boost::multiprecision::limb_type;

/// GMP's integers convert and divide in subquadratic time.
class GmpInteger {
 public:
  GmpInteger() { mpz_init(value_); }
  explicit GmpInteger(const integer& magnitude) : GmpInteger() {
    mpz_import(value_, magnitude.backend().size(), /*order=*/-1, sizeof(Limb), /*endian=*/0,
               /*nails=*/0, magnitude.backend().limbs());
  }
  GmpInteger(const GmpInteger&) = delete;
  GmpInteger& operator=(const GmpInteger&) = delete;
  ~GmpInteger() { mpz_clear(value_); }

  mpz_ptr get() { return value_; }

  integer to_integer() const {
    std::vector<Limb> limbs((mpz_sizeinbase(value_, 2) + 8 * sizeof(Limb) - 1) /
                            (8 * sizeof(Limb)));
    mpz_export(limbs.data(), nullptr, /*order=*/-1, sizeof(Limb), /*endian=*/0, /*nails=*/0,
               value_);
    integer result;
    boost::multiprecision::import_bits(result, limbs.begin(), limbs.end(), 8 * sizeof(Limb),
                                       /*msv_first=*/false);
    return result;
  }

 private:
  mpz_t value_;
};

// Below these lengths the number library is at least as fast.
constexpr std::size_t short_digits = 100;
constexpr std::size_t short_limbs = 8;

bool is_short(const integer& value) {
  return value.backend().size() <= short_limbs;
}

// The parts without a copy.
const integer& above_of(const rational& value) {
  return value.backend().data().numerator();
}
const integer& below_of(const rational& value) {
  return value.backend().data().denominator();
}

bool is_short(const rational& value) {
  return is_short(above_of(value)) && is_short(below_of(value));
}

// The library has no way to put together what has no common divisor without looking for one, so
// the parts of its fraction are written where it shows them for reading.
rational from_parts(integer above, integer below) {
  rational result;
  const_cast<integer&>(above_of(result)) = std::move(above);
  const_cast<integer&>(below_of(result)) = std::move(below);
  return result;
}

}  // namespace

integer long_integer(std::string_view digits) {
  if (digits.size() <= short_digits) {
    const std::size_t first = digits.find_first_not_of('0');  // else it would be octal
    return first == std::string_view::npos ? integer(0)
                                           : integer(std::string(digits.substr(first)));
  }
  GmpInteger value;
  mpz_set_str(value.get(), std::string(digits).c_str(), 10);
  return value.to_integer();
}

std::string long_text(const integer& value) {
  if (is_short(value)) return integer(abs(value)).str();
  GmpInteger magnitude(value);
  std::string text(mpz_sizeinbase(magnitude.get(), 10) + 2, '\0');
  mpz_get_str(text.data(), 10, magnitude.get());
  text.resize(text.find('\0'));
  return text;
}

integer power_of_ten(std::size_t exponent) {
  GmpInteger value;
  mpz_ui_pow_ui(value.get(), 10, exponent);
  return value.to_integer();
}

rational reduced(const integer& above, const integer& below) {
  if (is_short(above) && is_short(below)) return rational(above, below);
  if (below == 1) return from_parts(above, below);
  GmpInteger numerator(above);
  GmpInteger denominator(below);
  GmpInteger divisor;
  mpz_gcd(divisor.get(), numerator.get(), denominator.get());
  mpz_divexact(numerator.get(), numerator.get(), divisor.get());
  mpz_divexact(denominator.get(), denominator.get(), divisor.get());
  const integer magnitude = numerator.to_integer();
  return from_parts(above < 0 ? integer(-magnitude) : magnitude, denominator.to_integer());
}

rational sum(const rational& a, const rational& b) {
  if (is_short(a) && is_short(b)) return a + b;
  const integer below = below_of(a) * below_of(b);
  const integer above = above_of(a) * below_of(b) + above_of(b) * below_of(a);
  return reduced(above, below);
}

rational negated(const rational& value) {
  if (is_short(value)) return -value;
  return from_parts(-above_of(value), below_of(value));
}

bool is_less(const rational& a, const rational& b) {
  return above_of(a) * below_of(b) < above_of(b) * below_of(a);
}

}  // namespace kelvo
