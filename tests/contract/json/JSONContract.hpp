#pragma once

#include <CorvanePlatform/JSON.hpp>

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "support/ErrorMatchers.hpp"

// What every JSON coder promises. The subject is the coder's type.
namespace corvane::test {

inline Date secondsAfterReference(std::int64_t seconds, std::int64_t microseconds = 0) {
  return referenceDate + std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds);
}

/// The DecodingError that the operation throws, or nothing.
template <class Operation>
std::optional<DecodingError> decodingErrorOf(Operation operation) {
  const std::optional<AnyError> error = errorOf(operation);
  return error ? error->as<DecodingError>() : std::nullopt;
}

MATCHER_P2(IsDecodingError, kind, path, "") {
  if (!arg) {
    *result_listener << "which is none";
    return false;
  }
  *result_listener << "which says " << *arg->errorDescription();
  return arg->kind() == kind && arg->codingPath() == path;
}

template <class Coder>
class JSONContract : public ::testing::Test {
 protected:
  std::unique_ptr<Decoder> decoder(std::string_view document) const {
    return coder.decoder(dataFromText(document));
  }
  std::unique_ptr<KeyedDecodingContainer> object(std::string_view document) const {
    return decoder(document)->keyedContainer();
  }
  std::string written(const std::function<void(KeyedEncodingContainer&)>& write) const {
    return coder.encode([&write](Encoder& encoder) { write(*encoder.keyedContainer()); });
  }

  const Coder coder{};
  const CodingKey key{"key"};
};

TYPED_TEST_SUITE_P(JSONContract);

TYPED_TEST_P(JSONContract, ReadsBackEveryKindThatItWrote) {
  const auto document = this->written([](KeyedEncodingContainer& container) {
    container.encode("a text", CodingKey("text"));
    container.encode(true, CodingKey("yes"));
    container.encode(false, CodingKey("no"));
    container.encode(std::int64_t{-42}, CodingKey("number"));
    container.encode(secondsAfterReference(86'400), CodingKey("date"));
  });
  const auto object = this->object(document);
  EXPECT_EQ(object->decodeText(CodingKey("text")), "a text");
  EXPECT_TRUE(object->decodeBoolean(CodingKey("yes")));
  EXPECT_FALSE(object->decodeBoolean(CodingKey("no")));
  EXPECT_EQ(object->decodeInteger(CodingKey("number")), -42);
  EXPECT_EQ(object->decodeDate(CodingKey("date")), secondsAfterReference(86'400));
}

TYPED_TEST_P(JSONContract, ReadsBackNestedObjectsAndLists) {
  const auto document = this->written([](KeyedEncodingContainer& container) {
    container.encodeNested(CodingKey("list"), [](Encoder& list) {
      const auto elements = list.unkeyedContainer();
      elements->encode("first");
      elements->encodeNested([](Encoder& nested) { nested.keyedContainer()->encode("b", CodingKey("a")); });
    });
  });
  const auto list = this->object(document)->decodeNested(CodingKey("list"))->unkeyedContainer();
  EXPECT_EQ(list->decodeText(), "first");
  EXPECT_EQ(list->decodeNested()->keyedContainer()->decodeText(CodingKey("a")), "b");
  EXPECT_TRUE(list->isAtEnd());
}

TYPED_TEST_P(JSONContract, KeepsTheOrderOfKeysAndOneLine) {
  const auto document = this->written([](KeyedEncodingContainer& container) {
    container.encode("1", CodingKey("z"));
    container.encode("2", CodingKey("a"));
    container.encode("3", CodingKey("m"));
  });
  EXPECT_EQ(document, R"({"z":"1","a":"2","m":"3"})");
}

TYPED_TEST_P(JSONContract, LetsTheFirstOfDuplicateKeysCount) {
  EXPECT_EQ(this->object(R"({"key":1,"key":2})")->decodeInteger(this->key), 1);
}

TYPED_TEST_P(JSONContract, TellsNullFromAMissingKey) {
  const auto object = this->object(R"({"key":null,"other":1})");
  EXPECT_TRUE(object->contains(this->key));
  EXPECT_TRUE(object->decodeNil(this->key));
  EXPECT_FALSE(object->decodeNil(CodingKey("other")));
  EXPECT_FALSE(object->contains(CodingKey("missing")));
}

TYPED_TEST_P(JSONContract, SaysKeyNotFoundForAMissingKey) {
  const auto object = this->object(R"({})");
  const auto notFound = IsDecodingError(DecodingError::Case::keyNotFound, "key");
  EXPECT_THAT(decodingErrorOf([&] { object->decodeNil(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeText(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeBoolean(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeInteger(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeDate(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { (void)object->decodeNested(this->key); }), notFound);
}

TYPED_TEST_P(JSONContract, SaysValueNotFoundForNull) {
  const auto object = this->object(R"({"key":null})");
  const auto notFound = IsDecodingError(DecodingError::Case::valueNotFound, "key");
  EXPECT_THAT(decodingErrorOf([&] { object->decodeText(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeBoolean(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeInteger(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { object->decodeDate(this->key); }), notFound);
  EXPECT_THAT(decodingErrorOf([&] { (void)object->decodeNested(this->key); }), notFound);
}

TYPED_TEST_P(JSONContract, SaysTypeMismatchForAValueOfAnotherKind) {
  const auto mismatch = IsDecodingError(DecodingError::Case::typeMismatch, "key");
  for (const char* document : {R"({"key":1})", R"({"key":true})", R"({"key":[]})", R"({"key":{}})"})
    EXPECT_THAT(decodingErrorOf([&] { this->object(document)->decodeText(this->key); }), mismatch)
        << document;
  for (const char* document : {R"({"key":1})", R"({"key":"true"})", R"({"key":0})"})
    EXPECT_THAT(decodingErrorOf([&] { this->object(document)->decodeBoolean(this->key); }), mismatch)
        << document;
  for (const char* document : {R"({"key":"1"})", R"({"key":true})", R"({"key":[1]})"}) {
    EXPECT_THAT(decodingErrorOf([&] { this->object(document)->decodeInteger(this->key); }), mismatch)
        << document;
    EXPECT_THAT(decodingErrorOf([&] { this->object(document)->decodeDate(this->key); }), mismatch)
        << document;
  }
}

TYPED_TEST_P(JSONContract, NamesTheWayToANestedValue) {
  const auto files = this->object(R"({"files":[{"name":"a"},{"name":7}]})");
  const auto list = files->decodeNested(CodingKey("files"))->unkeyedContainer();
  (void)list->decodeNested();
  const auto second = list->decodeNested()->keyedContainer();
  EXPECT_THAT(decodingErrorOf([&] { second->decodeText(CodingKey("name")); }),
              IsDecodingError(DecodingError::Case::typeMismatch, "files[1].name"));
}

TYPED_TEST_P(JSONContract, RefusesAContainerOfAnotherKind) {
  EXPECT_THAT(decodingErrorOf([&] { (void)this->decoder("[]")->keyedContainer(); }),
              IsDecodingError(DecodingError::Case::typeMismatch, ""));
  EXPECT_THAT(decodingErrorOf([&] { (void)this->decoder("{}")->unkeyedContainer(); }),
              IsDecodingError(DecodingError::Case::typeMismatch, ""));
}

TYPED_TEST_P(JSONContract, RefusesWhatIsNoDocument) {
  for (const char* document : {"", " ", "{", "[1", R"({"key")", R"({"key":})", "{} x"})
    EXPECT_THAT(decodingErrorOf([&] { (void)this->decoder(document); }),
                IsDecodingError(DecodingError::Case::dataCorrupted, ""))
        << document;
}

TYPED_TEST_P(JSONContract, KeepsTheDocumentThatItsContainersNeed) {
  auto object = [&] {
    const auto document =
        std::make_unique<Data>(dataFromText(R"({"outer":{"key":"a text of some length"}})"));
    return this->coder.decoder(*document)
        ->keyedContainer()
        ->decodeNested(CodingKey("outer"))
        ->keyedContainer();
  }();
  EXPECT_EQ(object->decodeText(this->key), "a text of some length");
}

REGISTER_TYPED_TEST_SUITE_P(JSONContract, ReadsBackEveryKindThatItWrote, ReadsBackNestedObjectsAndLists,
                            KeepsTheOrderOfKeysAndOneLine, LetsTheFirstOfDuplicateKeysCount,
                            TellsNullFromAMissingKey, SaysKeyNotFoundForAMissingKey, SaysValueNotFoundForNull,
                            SaysTypeMismatchForAValueOfAnotherKind, NamesTheWayToANestedValue,
                            RefusesAContainerOfAnotherKind, RefusesWhatIsNoDocument,
                            KeepsTheDocumentThatItsContainersNeed);

}  // namespace corvane::test
