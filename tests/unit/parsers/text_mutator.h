#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kelvo {

inline std::string repeat(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// Breaks texts at random places, the same on every run: up to three cuts, insertions of words,
/// overwritten characters or repetitions for each text.
class TextMutator {
 public:
  TextMutator(std::vector<std::string> words, unsigned seed)
      : words_(std::move(words)), random_(seed) {}

  std::size_t below(std::size_t n) { return static_cast<std::size_t>(random_() % n); }

  std::string mutated(std::string text) {
    for (std::size_t changes = below(4); changes > 0 && !text.empty(); --changes) {
      const std::size_t place = below(text.size());
      switch (below(5)) {
        case 0:
          text.erase(place, 1 + below(8));
          break;
        case 1:
          text.insert(place, words_[below(words_.size())]);
          break;
        case 2:
          text[place] = static_cast<char>(below(256));
          break;
        case 3:
          text.resize(place);
          break;
        default:
          text += text.substr(place, below(40));
          break;
      }
    }
    return text;
  }

 private:
  std::vector<std::string> words_;
  std::mt19937 random_;
};

}  // namespace kelvo
