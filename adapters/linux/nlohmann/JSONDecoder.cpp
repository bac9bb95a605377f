#include "nlohmann/JSONDecoder.hpp"

#include "nlohmann/DecimalNumber.hpp"
#include "nlohmann/JSONDocument.hpp"

#include <limits>
#include <utility>

namespace corvane {
namespace {

using Kind = JSONValue::Kind;

// A value and the way to it. The pointer shares ownership of the whole document.
struct Place {
  std::shared_ptr<const JSONValue> value;
  std::string path;

  Place at(const JSONValue& inner, std::string innerPath) const {
    return {std::shared_ptr<const JSONValue>(value, &inner), std::move(innerPath)};
  }
  std::string pathOf(std::string_view key) const {
    return path.empty() ? std::string(key) : path + "." + std::string(key);
  }
  std::string pathOf(std::size_t index) const { return path + "[" + std::to_string(index) + "]"; }
};

[[noreturn]] void fail(DecodingError::Case which, std::string path, std::string_view expected,
                       std::string_view found) {
  throw AnyError(DecodingError(which, std::move(path),
                               "expected " + std::string(expected) + ", found " + std::string(found)));
}

// Path is a callable, so that paths are only spelt out for errors.
template <class Path>
void expect(const JSONValue& value, Kind kind, std::string_view expected, const Path& path) {
  if (value.kind == kind) return;
  const auto which =
      value.kind == Kind::null ? DecodingError::Case::valueNotFound : DecodingError::Case::typeMismatch;
  fail(which, path(), expected, kindName(value.kind));
}

template <class Path>
std::string textFrom(const JSONValue& value, const Path& path) {
  expect(value, Kind::text, "text", path);
  return std::string(value.text);
}

template <class Path>
std::int64_t integerFromValue(const JSONValue& value, const Path& path) {
  constexpr std::string_view expected = "an integer";
  expect(value, Kind::number, expected, path);
  const auto number = readDecimal(value.text, 0);
  if (number && !number->exact)
    fail(DecodingError::Case::dataCorrupted, path(), expected, "a number with a fraction");
  const auto integer = number ? integerFrom(*number) : std::nullopt;
  if (!integer) fail(DecodingError::Case::dataCorrupted, path(), expected, "a number out of range");
  return *integer;
}

// Microseconds since the reference date as a point in time; nothing if a Date cannot hold it.
std::optional<Date> dateFrom(const ScaledDecimal& microseconds) {
  constexpr auto greatest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  constexpr auto offset = static_cast<std::uint64_t>(referenceDate.time_since_epoch().count());
  ScaledDecimal sum;
  if (!microseconds.negative) {
    if (microseconds.magnitude > greatest - offset) return std::nullopt;
    sum.magnitude = offset + microseconds.magnitude;
  } else {
    sum.negative = microseconds.magnitude > offset;
    sum.magnitude = sum.negative ? microseconds.magnitude - offset : offset - microseconds.magnitude;
  }
  const auto count = integerFrom(sum);
  if (!count) return std::nullopt;
  return Date(std::chrono::microseconds(*count));
}

template <class Path>
Date dateFromValue(const JSONValue& value, const Path& path) {
  constexpr std::string_view expected = "a point in time in seconds";
  expect(value, Kind::number, expected, path);
  constexpr int microsecondsPerSecondPower = 6;
  const auto microseconds = readDecimal(value.text, microsecondsPerSecondPower);
  const auto date = microseconds ? dateFrom(*microseconds) : std::nullopt;
  if (!date) fail(DecodingError::Case::dataCorrupted, path(), expected, "a number out of range");
  return *date;
}

void expectValue(const JSONValue& value, const std::string& path) {
  if (value.kind == Kind::null) fail(DecodingError::Case::valueNotFound, path, "a value", "null");
}

class ValueDecoder final : public Decoder {
 public:
  explicit ValueDecoder(Place place) : place_(std::move(place)) {}
  std::unique_ptr<KeyedDecodingContainer> keyedContainer() const override;
  std::unique_ptr<UnkeyedDecodingContainer> unkeyedContainer() const override;

 private:
  void expectContainer(Kind kind) const {
    if (place_.value->kind != kind)
      fail(DecodingError::Case::typeMismatch, place_.path, kindName(kind), kindName(place_.value->kind));
  }
  Place place_;
};

struct MemberPath {
  const Place& place;
  const CodingKey& key;
  std::string operator()() const { return place.pathOf(key.stringValue()); }
};

class ObjectContainer final : public KeyedDecodingContainer {
 public:
  explicit ObjectContainer(Place place) : place_(std::move(place)) {}

  bool contains(const CodingKey& key) const override {
    return place_.value->member(key.stringValue()) != nullptr;
  }
  bool decodeNil(const CodingKey& key) const override { return member(key, "a value").kind == Kind::null; }
  std::string decodeText(const CodingKey& key) const override {
    return textFrom(member(key, "text"), pathTo(key));
  }
  bool decodeBoolean(const CodingKey& key) const override {
    const JSONValue& value = member(key, "a boolean");
    expect(value, Kind::boolean, "a boolean", pathTo(key));
    return value.flag;
  }
  std::int64_t decodeInteger(const CodingKey& key) const override {
    return integerFromValue(member(key, "an integer"), pathTo(key));
  }
  Date decodeDate(const CodingKey& key) const override {
    return dateFromValue(member(key, "a point in time"), pathTo(key));
  }
  std::unique_ptr<Decoder> decodeNested(const CodingKey& key) const override {
    const JSONValue& value = member(key, "a value");
    std::string path = place_.pathOf(key.stringValue());
    expectValue(value, path);
    return std::make_unique<ValueDecoder>(place_.at(value, std::move(path)));
  }

 private:
  const JSONValue& member(const CodingKey& key, std::string_view expected) const {
    const JSONValue* value = place_.value->member(key.stringValue());
    if (!value)
      fail(DecodingError::Case::keyNotFound, place_.pathOf(key.stringValue()), expected, "no such key");
    return *value;
  }
  MemberPath pathTo(const CodingKey& key) const { return {place_, key}; }
  Place place_;
};

// The index moves on only past what could be read.
class ListContainer final : public UnkeyedDecodingContainer {
 public:
  explicit ListContainer(Place place) : place_(std::move(place)) {}

  bool isAtEnd() const override { return index_ == place_.value->elements.size(); }
  std::string decodeText() override {
    std::string text = textFrom(element("text"), [this] { return place_.pathOf(index_); });
    ++index_;
    return text;
  }
  std::unique_ptr<Decoder> decodeNested() override {
    const JSONValue& value = element("a value");
    std::string path = place_.pathOf(index_);
    expectValue(value, path);
    ++index_;
    return std::make_unique<ValueDecoder>(place_.at(value, std::move(path)));
  }

 private:
  const JSONValue& element(std::string_view expected) const {
    if (isAtEnd())
      fail(DecodingError::Case::valueNotFound, place_.pathOf(index_), expected, "the end of the list");
    return place_.value->elements[index_];
  }
  Place place_;
  std::size_t index_ = 0;
};

std::unique_ptr<KeyedDecodingContainer> ValueDecoder::keyedContainer() const {
  expectContainer(Kind::object);
  return std::make_unique<ObjectContainer>(place_);
}

std::unique_ptr<UnkeyedDecodingContainer> ValueDecoder::unkeyedContainer() const {
  expectContainer(Kind::list);
  return std::make_unique<ListContainer>(place_);
}

}  // namespace

std::unique_ptr<Decoder> jsonDecoder(std::shared_ptr<const JSONValue> value) {
  return std::make_unique<ValueDecoder>(Place{std::move(value), ""});
}

}  // namespace corvane
