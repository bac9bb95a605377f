#pragma once

#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

// How the fields of a record's table are written and read, by type. A required field is read plainly, an
// optional one only if it is there and not null; an absent one is left out, never written as null.
namespace corvane::coding {

template <class Element>
void encodeElement(UnkeyedEncodingContainer& list, const Element& element) {
  list.encodeNested([&element](Encoder& encoder) { element.encode(encoder); });
}
inline void encodeElement(UnkeyedEncodingContainer& list, const std::string& element) {
  list.encode(element);
}

inline void encodeField(KeyedEncodingContainer& container, const std::string& text, const CodingKey& key) {
  container.encode(std::string_view(text), key);
}
inline void encodeField(KeyedEncodingContainer& container, bool flag, const CodingKey& key) {
  container.encode(flag, key);
}
inline void encodeField(KeyedEncodingContainer& container, std::int64_t number, const CodingKey& key) {
  container.encode(number, key);
}
inline void encodeField(KeyedEncodingContainer& container, Date date, const CodingKey& key) {
  container.encode(date, key);
}
template <TabledRecord Record>
void encodeField(KeyedEncodingContainer& container, const Record& record, const CodingKey& key) {
  container.encodeNested(key, [&record](Encoder& encoder) { record.encode(encoder); });
}
template <class Element>
void encodeField(KeyedEncodingContainer& container, const std::vector<Element>& list, const CodingKey& key) {
  container.encodeNested(key, [&list](Encoder& encoder) {
    const auto elements = encoder.unkeyedContainer();
    for (const auto& element : list) encodeElement(*elements, element);
  });
}
template <class Value>
void encodeField(KeyedEncodingContainer& container, const std::optional<Value>& value, const CodingKey& key) {
  if (value) encodeField(container, *value, key);
}

template <class Record>
void encodeRecord(const Record& record, Encoder& encoder) {
  const auto container = encoder.keyedContainer();
  std::apply(
      [&](const auto&... field) {
        (encodeField(*container, record.*field.member, CodingKey(field.name)), ...);
      },
      RecordTable::of<Record>());
}

template <class Value>
struct FieldDecoder {  // a nested record
  static Value decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    return Value::decode(*container.decodeNested(key));
  }
};
template <>
struct FieldDecoder<std::string> {
  static std::string decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    return container.decodeText(key);
  }
};
template <>
struct FieldDecoder<bool> {
  static bool decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    return container.decodeBoolean(key);
  }
};
template <>
struct FieldDecoder<std::int64_t> {
  static std::int64_t decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    return container.decodeInteger(key);
  }
};
template <>
struct FieldDecoder<Date> {
  static Date decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    return container.decodeDate(key);
  }
};
template <class Element>
struct FieldDecoder<std::vector<Element>> {
  static std::vector<Element> decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    const auto nested = container.decodeNested(key);
    const auto list = nested->unkeyedContainer();
    std::vector<Element> elements;
    while (!list->isAtEnd()) {
      if constexpr (std::is_same_v<Element, std::string>) {
        elements.push_back(list->decodeText());
      } else {
        elements.push_back(Element::decode(*list->decodeNested()));
      }
    }
    return elements;
  }
};
template <class Value>
struct FieldDecoder<std::optional<Value>> {
  static std::optional<Value> decode(const KeyedDecodingContainer& container, const CodingKey& key) {
    if (!container.contains(key) || container.decodeNil(key)) return std::nullopt;
    return FieldDecoder<Value>::decode(container, key);
  }
};

template <class Record>
Record decodeRecord(const Decoder& decoder) {
  const auto container = decoder.keyedContainer();
  return std::apply(
      [&](const auto&... field) {
        // Braces, because they read the fields in table order.
        return std::make_from_tuple<Record>(
            std::tuple<typename std::remove_cvref_t<decltype(field)>::Type...>{
                FieldDecoder<typename std::remove_cvref_t<decltype(field)>::Type>::decode(
                    *container, CodingKey(field.name))...});
      },
      RecordTable::of<Record>());
}

}  // namespace corvane::coding
