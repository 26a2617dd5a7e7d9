// SPDX-License-Identifier: MIT
#include "platform/host/HostJson.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/PlatformException.h"

namespace orvane::host {

using nlohmann::ordered_json;
using platform::Value;

namespace {

/// Converts a value; returns `std::nullopt` if it contains binary data, which JSON cannot represent, or is nested too
/// deeply.
std::optional<ordered_json> toJson(const Value& value, int levelsLeft) {
  const bool isContainer = value.as<Value::Array>() != nullptr || value.as<Value::Dictionary>() != nullptr;
  if (isContainer && levelsLeft == 0) return std::nullopt;
  if (const bool* flag = value.as<bool>()) return ordered_json(*flag);
  if (const std::int64_t* integer = value.as<std::int64_t>()) return ordered_json(*integer);
  if (const std::uint64_t* large = value.as<std::uint64_t>()) return ordered_json(*large);
  if (const double* number = value.as<double>()) return ordered_json(*number);
  if (const std::string* text = value.as<std::string>()) return ordered_json(*text);
  if (const Value::Array* items = value.as<Value::Array>()) {
    ordered_json array = ordered_json::array();
    for (const Value& item : *items) {
      std::optional<ordered_json> element = toJson(item, levelsLeft - 1);
      if (!element) return std::nullopt;
      array.push_back(*std::move(element));
    }
    return array;
  }
  if (const Value::Dictionary* members = value.as<Value::Dictionary>()) {
    ordered_json object = ordered_json::object();
    for (const Value::Member& member : *members) {
      std::optional<ordered_json> element = toJson(member.value, levelsLeft - 1);
      if (!element) return std::nullopt;
      object.emplace(member.key, *std::move(element));
    }
    return object;
  }
  if (value.isNull()) return ordered_json(nullptr);
  return std::nullopt;
}

/// Throws the exception of `Json::read` for an error that was found after reading `consumed` bytes of the text.
[[noreturn]] void throwAt(std::string_view text, std::size_t consumed, const std::string& fault) {
  const std::string_view before = text.substr(0, consumed == 0 ? 0 : consumed - 1);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n') + 1;  // 0 if there is no newline
  throw platform::PlatformException("JSONException", "JSON is wrong at line " + std::to_string(line) + ", column " +
                                                         std::to_string(before.size() - lineStart + 1) + ": " + fault);
}

/// An iterator over a text that records how far the parser has read.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* position, const char** reached) : mPosition(position), mReached(reached) {}
  reference operator*() const { return *mPosition; }
  CountingIterator& operator++() {
    *mReached = ++mPosition;
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return mPosition == other.mPosition; }

 private:
  const char* mPosition;
  const char** mReached;
};

/// The receiver of the parser's events; builds a value from them without recursion.
class ValueBuilder final : public nlohmann::json_sax<ordered_json> {
 public:
  explicit ValueBuilder(std::string_view text) : mText(text), mReached(text.data()) {}

  CountingIterator begin() { return {mText.data(), &mReached}; }
  CountingIterator end() { return {mText.data() + mText.size(), &mReached}; }
  Value takeResult() { return std::move(mResult); }

  bool null() override { return add(Value()); }
  bool boolean(bool flag) override { return add(flag); }
  bool number_integer(std::int64_t integer) override { return add(integer); }
  bool number_unsigned(std::uint64_t integer) override { return add(integer); }
  bool number_float(double number, const std::string&) override { return add(number); }
  bool string(std::string& text) override { return add(std::move(text)); }
  bool binary(ordered_json::binary_t&) override { return false; }  // JSON text has no binary values
  bool start_object(std::size_t) override { return open(Value::Dictionary()); }
  bool start_array(std::size_t) override { return open(Value::Array()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(std::string& name) override {
    Level& level = mLevels.back();
    if (!level.keys.insert(name).second) throwAt(mText, consumed(), "the key \"" + name + "\" occurs twice here");
    level.key = std::move(name);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& error) override {
    // "[json.exception.…] parse error at line 1, column 2: why" or "[json.exception.…] why"
    std::string_view why = error.what();
    why.remove_prefix(std::min(why.find("] ") + 2, why.size()));
    if (why.starts_with("parse error at ")) why.remove_prefix(why.find(": ") + 2);
    constexpr std::size_t longest = 200;  // the message may quote a token of any length
    throwAt(mText, position, std::string(why.substr(0, longest)) + (why.size() > longest ? "…" : ""));
  }

 private:
  struct Level {
    Value container;
    std::string key;
    std::unordered_set<std::string> keys;
  };

  std::size_t consumed() const { return static_cast<std::size_t>(mReached - mText.data()); }

  bool add(Value value) {
    if (mLevels.empty()) {
      mResult = std::move(value);
    } else if (Value::Array* items = mLevels.back().container.as<Value::Array>()) {
      items->push_back(std::move(value));
    } else {
      // `set` would search the whole dictionary for the key.
      mLevels.back().container.as<Value::Dictionary>()->push_back({std::move(mLevels.back().key), std::move(value)});
    }
    return true;
  }

  bool open(Value container) {
    if (mLevels.size() == Value::maxLevels) {
      throwAt(mText, consumed(), "nested deeper than " + std::to_string(Value::maxLevels) + " levels");
    }
    mLevels.push_back({std::move(container), {}, {}});
    return true;
  }

  bool close() {
    Value container = std::move(mLevels.back().container);
    mLevels.pop_back();
    return add(std::move(container));
  }

  const std::string_view mText;
  const char* mReached;
  std::vector<Level> mLevels;
  Value mResult;
};

}  // namespace

std::optional<std::string> HostJson::write(const Value& value, bool pretty) const {
  const std::optional<ordered_json> json = toJson(value, Value::maxLevels);
  if (!json) return std::nullopt;
  try {
    return json->dump(pretty ? 2 : -1);
  } catch (const ordered_json::type_error&) {  // the value contains text that is not UTF-8
    return std::nullopt;
  }
}

Value HostJson::read(std::string_view text) const {
  ValueBuilder builder(text);
  ordered_json::sax_parse(builder.begin(), builder.end(), &builder);
  return builder.takeResult();
}

}  // namespace orvane::host
