#include <Corvane/CorvaneFactory.hpp>
#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/Get.hpp>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "support/DriveSamples.hpp"
#include "support/FailingAllocations.hpp"
#include "support/FakePlatform.hpp"

// Every allocation of an operation fails in turn, with the platform's pieces in place: the
// operation ends with one value or one error, and the program goes on.
namespace corvane::test {
namespace {

constexpr auto credentials = R"({"client_id": "id", "clientSecret": "secret"})";
const GoogleDriveAccountModel ada("ada@example.com");

/// Makes every message and keeps none.
class MessageMaker final : public Lumark {
 public:
  void logError(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    message();
  }
  void logWarning(const LogCategory&, const Message& message, int, bool,
                  std::string_view) override {
    message();
  }
  void logExtended(const LogCategory&, const Message& message, int, bool,
                   std::string_view) override {
    message();
  }
};

class CountingTracker final : public GoogleDriveAuthorizationNFRTrackerType {
 public:
  void trackSignInStarted() override { ++started; }
  void trackSignInFinished(const Result<Void, GoogleDriveAuthorizationProviderError>&) override {
    ++finished;
  }
  int started = 0;
  int finished = 0;
};

/// What a subscriber was told; noting it takes no memory.
template <class Failure>
struct Told {
  int values = 0;
  int ends = 0;
  std::optional<Failure> failure;

  template <class Value>
  AnyCancellable subscribe(const AnyPublisher<Value, Failure>& publisher) {
    return publisher.sink(
        [this](Completion<Failure> completion) {
          ++ends;
          if (completion.isFailure()) failure.emplace(std::move(completion).error());
        },
        [this](const Value&) { ++values; });
  }
};

bool isOutOfMemory(const AnyError& error) {
  return error.domain() == NSPOSIXErrorDomain && error.code() == ENOMEM;
}

bool isOutOfMemory(const GoogleDriveAuthorizationProviderError& error) {
  using Case = GoogleDriveAuthorizationProviderError::Case;
  return error.kind() == Case::tokenSaveFailed ||
         (error.kind() == Case::signInFailed && isOutOfMemory(*error.underlying()));
}

/// A module over fakes, one for each round.
struct Rig {
  Rig() {
    Platform pieces = fake.platform();
    pieces.log = std::make_shared<MessageMaker>();
    factory.emplace(
        dataFromText(credentials), "service", "group", [] { return WindowHandle::terminal(); },
        std::move(pieces));
    api = factory->makeAPI(ada);
    accounts = factory->makeAccountProvider();
    authorization = factory->makeAuthorizationProvider(tracker);
    fake.keychain->insert({{"kSecClass", "kSecClassGenericPassword"},
                           {"kSecAttrAccount", "ada@example.com"},
                           {"kSecAttrService", "service"},
                           {"kSecAttrAccessGroup", "group"},
                           {"kSecValueData", dataFromText("session:ada@example.com")}});
  }

  void run() {
    fake.taskPool->runAll();
    fake.userInitiatedQueue->runAll();
  }

  FakePlatform fake;
  std::shared_ptr<CountingTracker> tracker = std::make_shared<CountingTracker>();
  std::optional<CorvaneFactory> factory;
  std::shared_ptr<GoogleDriveAPIType> api;
  std::shared_ptr<GoogleDriveAccountProviderType> accounts;
  std::shared_ptr<GoogleDriveAuthorizationProviderType> authorization;
};

/// Calls `round` with 0, 1, 2, ... allocations that it may make, until a round needs no more.
void exhaust(const std::function<void(int allocations)>& round) {
  constexpr int enough = 1'000;
  for (int allocations = 0; allocations < enough; ++allocations) {
    SCOPED_TRACE("with " + std::to_string(allocations) + " allocations");
    round(allocations);
    if (testing::Test::HasFatalFailure()) return;
    if (FailingAllocations::failures() == 0) {
      EXPECT_GT(allocations, 0) << "nothing failed";
      return;
    }
  }
  FAIL() << "no round got through";
}

template <class Failure>
void expectOneEnd(const Told<Failure>& told) {
  ASSERT_EQ(told.ends, 1);
  if (told.failure) {
    ASSERT_TRUE(isOutOfMemory(*told.failure)) << AnyError(*told.failure).what();
    ASSERT_EQ(told.values, 0);
  } else {
    ASSERT_EQ(told.values, 1);
  }
}

template <class Value>
using DriveCall = std::function<AnyPublisher<Value>(GoogleDriveAPIType&)>;

FakeDriveService::CompletionHandler handlerOf(Rig& rig, std::size_t request) {
  return rig.fake.driveServices.at(0)->requests().at(request).ticket->takeHandler();
}

/// The operation is asked for, subscribed to and started with little memory, and answered with
/// enough.
template <class Value>
void exhaustStart(const DriveCall<Value>& call, const GTLRObject& answer) {
  exhaust([&](int allocations) {
    Rig rig;
    Told<AnyError> told;
    AnyCancellable subscription;
    {
      const FailingAllocations shortage(allocations);
      subscription = told.subscribe(call(*rig.api));
      rig.run();
    }
    if (told.ends == 0) handlerOf(rig, 0)(nullptr, answer, std::nullopt);
    rig.run();
    expectOneEnd(told);
  });
}

/// The operation is answered with little memory.
template <class Value>
void exhaustAnswer(const DriveCall<Value>& call, const GTLRObject& answer) {
  exhaust([&](int allocations) {
    Rig rig;
    Told<AnyError> told;
    const auto subscription = told.subscribe(call(*rig.api));
    rig.run();
    const auto handler = handlerOf(rig, 0);
    GTLRObject object = answer;
    {
      const FailingAllocations shortage(allocations);
      handler(nullptr, std::move(object), std::nullopt);
      rig.run();
    }
    expectOneEnd(told);
  });
}

const DriveCall<About> getAbout = [](auto& api) { return api.getAbout(); };
const DriveCall<FilesPage> getFilesPage = [](auto& api) { return api.getFilesPage("token"); };
const DriveCall<Void> deleteFile = [](auto& api) { return api.deleteFile("id"); };
const DriveCall<Void> moveToTrash = [](auto& api) { return api.moveToTrash("id"); };

/// An operation of the task pool, asked for, subscribed to and run with little memory.
template <class Value>
void exhaustPool(const std::function<AnyPublisher<Value>(Rig&)>& call) {
  exhaust([&](int allocations) {
    Rig rig;
    Told<AnyError> told;
    AnyCancellable subscription;
    {
      const FailingAllocations shortage(allocations);
      subscription = told.subscribe(call(rig));
      rig.run();
    }
    expectOneEnd(told);
  });
}

const std::string email = "somebody.whose.name.is.too.long.for.a.small.buffer@example.com";

TEST(DriveWithoutMemory, TellsEachStartOneEnd) {
  exhaustStart(getAbout, aboutObject());
  exhaustStart(getFilesPage, fileList({fileObject("id")}));
  exhaustStart(deleteFile, std::monostate{});
  exhaustStart(moveToTrash, fileObject("id"));
}

TEST(DriveWithoutMemory, TellsEachAnswerOneEnd) {
  exhaustAnswer(getAbout, aboutObject());
  exhaustAnswer(getFilesPage, fileList({fileObject("id")}));
  exhaustAnswer(deleteFile, std::monostate{});
}

TEST(DriveWithoutMemory, TellsAFurtherAttemptOneEnd) {
  exhaust([](int allocations) {
    Rig rig;
    Told<AnyError> told;
    const auto subscription = told.subscribe(rig.api->getAbout());
    rig.run();
    handlerOf(rig, 0)(nullptr, std::monostate{}, driveError(503));
    rig.run();
    {
      const FailingAllocations shortage(allocations);
      rig.fake.userInitiatedQueue->advance(std::chrono::seconds(1));
    }
    if (told.ends == 0) handlerOf(rig, 1)(nullptr, aboutObject(), std::nullopt);
    rig.run();
    ASSERT_EQ(told.ends, 1);
    ASSERT_EQ(told.values, told.failure ? 0 : 1);
  });
}

TEST(AccountsWithoutMemory, AreOneListOrOneError) {
  exhaustPool<std::vector<GoogleDriveAccountModel>>(
      [](Rig& rig) { return rig.accounts->getAccounts(); });
}

TEST(AccountsWithoutMemory, AreOneErrorForALateSubscriberWhoGetsNoCopy) {
  exhaust([](int allocations) {
    Rig rig;
    const auto accounts = rig.accounts->getAccounts();
    rig.run();
    Told<AnyError> told;
    AnyCancellable subscription;
    {
      const FailingAllocations shortage(allocations);
      subscription = told.subscribe(accounts);
    }
    expectOneEnd(told);
  });
}

TEST(SignOutWithoutMemory, HasOneEnd) {
  exhaustPool<Void>([](Rig& rig) { return rig.authorization->signOut(ada); });
}

TEST(SignInWithoutMemory, HasOneEndHoweverItStarts) {
  exhaust([](int allocations) {
    Rig rig;
    Told<GoogleDriveAuthorizationProviderError> told;
    AnyCancellable subscription;
    {
      const FailingAllocations shortage(allocations);
      subscription = told.subscribe(rig.authorization->signIn());
    }
    if (told.ends == 0)
      rig.fake.signInServices.made.at(0)->finish(std::make_shared<FakeSession>(email),
                                                 std::nullopt);
    expectOneEnd(told);
    ASSERT_EQ(rig.tracker->started, 1);
    // A subscription that there is no memory for is never one that could be measured.
    ASSERT_LE(rig.tracker->finished, 1);
    ASSERT_TRUE(rig.tracker->finished == 1 || told.failure);
  });
}

TEST(SignInWithoutMemory, HasOneEndHoweverTheSessionIsSaved) {
  exhaust([](int allocations) {
    Rig rig;
    Told<GoogleDriveAuthorizationProviderError> told;
    const auto subscription = told.subscribe(rig.authorization->signIn());
    const auto session = std::make_shared<FakeSession>(email);
    {
      const FailingAllocations shortage(allocations);
      rig.fake.signInServices.made.at(0)->finish(session, std::nullopt);
    }
    expectOneEnd(told);
    ASSERT_EQ(rig.tracker->finished, 1);
  });
}

TEST(SignInWithoutMemory, HasOneEndHoweverItsErrorIsTold) {
  exhaust([](int allocations) {
    Rig rig;
    Told<GoogleDriveAuthorizationProviderError> told;
    const auto subscription = told.subscribe(rig.authorization->signIn());
    NSError error("TessoraService", -7,
                  {{"NSLocalizedDescription", "It broke, and this is how it did."}});
    {
      const FailingAllocations shortage(allocations);
      rig.fake.signInServices.made.at(0)->finish(nullptr, std::move(error));
    }
    ASSERT_EQ(told.ends, 1);
    ASSERT_TRUE(told.failure);
    ASSERT_EQ(told.failure->kind(), GoogleDriveAuthorizationProviderError::Case::signInFailed);
  });
}

TEST(KeychainValueWithoutMemory, IsNotCopied) {
  const KeychainDictionary query{{"text", email}, {"data", dataFromText(email)}};
  exhaust([&](int allocations) {
    std::optional<KeychainDictionary> copy;
    {
      const FailingAllocations shortage(allocations);
      try {
        copy = query;
      } catch (const std::bad_alloc&) {
      }
    }
    ASSERT_TRUE(!copy || *copy == query);
  });
}

TEST(GetWithoutMemory, ThrowsAnAnyError) {
  const auto seven = AnyPublisher<int>::just(7);
  exhaust([&](int allocations) {
    std::optional<int> value;
    std::optional<AnyError> error;
    {
      const FailingAllocations shortage(allocations);
      try {
        value = get(seven);
      } catch (const AnyError& thrown) {
        error = thrown;
      }
    }
    ASSERT_TRUE(value ? *value == 7 : isOutOfMemory(*error));
  });
}

}  // namespace
}  // namespace corvane::test
