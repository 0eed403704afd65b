#include "platform/foundation/JSONObjectTexts.h"

#include "platform/foundation/internal/JSONWriter.h"

namespace platform {

namespace {
constexpr int kLevelsAbove = 8;
constexpr std::size_t kLongestKept = 4096;  // bytes of one text
}  // namespace

JSONObjectTexts::JSONObjectTexts() : writer_(std::make_unique<JSONWriter>()) {}
JSONObjectTexts::~JSONObjectTexts() = default;

std::optional<std::string> JSONObjectTexts::textOf(const MutableDictionary& object) {
  writer_->clear();
  if (kept_.size() < object.size()) kept_.resize(object.size());
  writer_->add('{');
  std::size_t place = 0;
  for (const auto& [key, value] : object) {
    if (!key.isString()) return std::nullopt;
    if (place > 0) writer_->add(',');
    writer_->writeText(key.string().view());
    writer_->add(':');
    if (!write(place++, value)) return std::nullopt;
  }
  writer_->add('}');
  return std::string(writer_->text());
}

bool JSONObjectTexts::write(std::size_t place, const Value& value) {
  constexpr int kLevel = kLevelsAbove + 1;
  if (!value.isDictionary()) return writer_->write(value, kLevel);
  Kept& kept = kept_[place];
  const bool isMetAgain = kept.entries.isSameObject(value.dictionary());
  if (isMetAgain && !kept.text.empty()) {
    writer_->add(kept.text);
    return true;
  }
  if (!isMetAgain) kept = {value.dictionary(), {}};
  const std::size_t start = writer_->text().size();
  if (!writer_->write(value, kLevel)) return false;
  if (isMetAgain && writer_->text().size() - start <= kLongestKept) kept.text = writer_->text().substr(start);
  return true;
}

}  // namespace platform
