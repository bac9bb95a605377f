#include "GoogleDriveAccountProvider.hpp"

#include <Corvane/GoogleAccountsStoreError.hpp>
#include <Corvane/GoogleDriveAccountProviderError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/ManualQueue.hpp"
#include "support/Recorder.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

/// A store that lists what it is told to, or throws.
class ListedAccounts final : public GoogleAccountsStoreType {
 public:
  void saveAuthSession(const AuthSession&, const std::string&) override {}
  std::shared_ptr<AuthSession> retrieveAuthSession(const std::string&) override { return nullptr; }
  void removeAuthSession(const std::string&) override {}
  std::vector<std::string> storedAccounts() override {
    ++reads;
    return list();
  }

  std::function<std::vector<std::string>()> list = [] { return std::vector<std::string>{}; };
  int reads = 0;
};

GoogleDriveAccountModel account(const char* email) {
  return GoogleDriveAccountModel(email);
}

class GoogleDriveAccountProviderTest : public testing::Test {
 protected:
  void stored(std::vector<std::string> names) {
    store->list = [names = std::move(names)] { return names; };
  }
  std::shared_ptr<GoogleDriveAccountProvider> makeProvider() {
    return std::make_shared<GoogleDriveAccountProvider>(store, std::vector<AnyCancellable>{}, pool);
  }

  std::shared_ptr<ListedAccounts> store = std::make_shared<ListedAccounts>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  std::shared_ptr<GoogleDriveAccountProvider> provider = makeProvider();
};

}  // namespace

TEST_F(GoogleDriveAccountProviderTest, TwoStoredAccountsComeAsOneListAndThenItFinishes) {
  stored({"ada@example.com", "bob@example.com"});
  const Recorder accounts(provider->getAccounts());
  EXPECT_THAT(accounts.events(), IsEmpty());
  pool->runAll();
  EXPECT_THAT(accounts.events(), ElementsAre("value", "finished"));
  EXPECT_THAT(*accounts.value(),
              UnorderedElementsAre(account("ada@example.com"), account("bob@example.com")));
}

TEST_F(GoogleDriveAccountProviderTest, AnAccountStoredTwiceIsListedOnce) {
  stored({"ada@example.com", "bob@example.com", "ada@example.com"});
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_THAT(*accounts.value(),
              UnorderedElementsAre(account("ada@example.com"), account("bob@example.com")));
}

TEST_F(GoogleDriveAccountProviderTest, NamesOfTheSameCharactersAreOneAccountHoweverTheyAreComposed) {
  stored({"ren\u00E9@example.com", "rene\u0301@example.com", "Ren\u00E9@example.com"});
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_THAT(*accounts.value(),
              UnorderedElementsAre(account("ren\u00E9@example.com"), account("Ren\u00E9@example.com")));
}

TEST_F(GoogleDriveAccountProviderTest, NamesAreNeitherTrimmedNorFiltered) {
  stored({"", " ada "});
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_THAT(*accounts.value(), UnorderedElementsAre(account(""), account(" ada ")));
}

TEST_F(GoogleDriveAccountProviderTest, AStoreThatListsNoNamesGivesAnEmptyList) {
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_THAT(accounts.events(), ElementsAre("value", "finished"));
  EXPECT_TRUE(accounts.value()->empty());
}

TEST_F(GoogleDriveAccountProviderTest, NothingStoredFailsWithKeysNotFoundAndSendsNoValue) {
  store->list = []() -> std::vector<std::string> {
    throw AnyError(GoogleAccountsStoreError::keysNotFound("service"));
  };
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_THAT(accounts.events(), ElementsAre("failed"));
  EXPECT_EQ(accounts.error()->as<GoogleAccountsStoreError>(),
            GoogleAccountsStoreError::keysNotFound("service"));
}

TEST_F(GoogleDriveAccountProviderTest, OtherStoreErrorsPassUnchanged) {
  store->list = []() -> std::vector<std::string> {
    throw AnyError(GoogleAccountsStoreError::unhandled(-25308));
  };
  const Recorder accounts(provider->getAccounts());
  pool->runAll();
  EXPECT_TRUE(accounts.error()->holds<GoogleAccountsStoreError>());
  EXPECT_EQ(accounts.error()->as<GoogleAccountsStoreError>(), GoogleAccountsStoreError::unhandled(-25308));
}

TEST_F(GoogleDriveAccountProviderTest, TheReadStartsWithTheCallAndNotOnTheCallersThread) {
  const auto publisher = provider->getAccounts();
  EXPECT_EQ(pool->pendingBlocks(), 1u);
  EXPECT_EQ(store->reads, 0);
  pool->runAll();
  EXPECT_EQ(store->reads, 1);
}

TEST_F(GoogleDriveAccountProviderTest, ALateSubscriberGetsTheSameListOnItsOwnThread) {
  stored({"ada@example.com"});
  const auto publisher = provider->getAccounts();
  std::thread([this] { pool->runAll(); }).join();
  std::thread::id late;
  std::thread([&] {
    late = std::this_thread::get_id();
    const Recorder accounts(publisher);
    EXPECT_THAT(accounts.threads(), ElementsAre(late, late));
    EXPECT_THAT(*accounts.value(), ElementsAre(account("ada@example.com")));
  }).join();
  EXPECT_EQ(store->reads, 1);
}

TEST_F(GoogleDriveAccountProviderTest, AnEarlySubscriberIsServedOnThePoolsThread) {
  stored({"ada@example.com"});
  const Recorder accounts(provider->getAccounts());
  std::thread::id worker;
  std::thread([&] {
    worker = std::this_thread::get_id();
    pool->runAll();
  }).join();
  EXPECT_THAT(accounts.threads(), ElementsAre(worker, worker));
}

TEST_F(GoogleDriveAccountProviderTest, EverySubscriberGetsTheOneResult) {
  stored({"ada@example.com"});
  const auto publisher = provider->getAccounts();
  const Recorder early(publisher);
  pool->runAll();
  const Recorder late(publisher);
  EXPECT_EQ(*early.value(), *late.value());
  EXPECT_EQ(store->reads, 1);
}

TEST_F(GoogleDriveAccountProviderTest, CancellingRightAfterTheCallStillLetsTheStoreBeReadOnce) {
  Recorder accounts(provider->getAccounts());
  accounts.cancel();
  pool->runAll();
  EXPECT_EQ(store->reads, 1);
  EXPECT_THAT(accounts.events(), IsEmpty());
}

TEST_F(GoogleDriveAccountProviderTest, EachCallReadsForItself) {
  const Recorder first(provider->getAccounts());
  const Recorder second(provider->getAccounts());
  pool->runAll();
  EXPECT_EQ(store->reads, 2);
}

TEST_F(GoogleDriveAccountProviderTest, AStartedReadHoldsTheProviderUntilItEnds) {
  const std::weak_ptr watch = provider;
  const Recorder accounts(provider->getAccounts());
  provider.reset();
  EXPECT_FALSE(watch.expired());
  pool->runAll();
  EXPECT_TRUE(watch.expired());
  EXPECT_TRUE(accounts.value());
}

TEST_F(GoogleDriveAccountProviderTest, AProviderThatIsGoneWhenTheWorkIsToBeginFailsWithEmptySelf) {
  // One that no shared pointer owns is as good as gone.
  GoogleDriveAccountProvider unowned(store, {}, pool);
  const Recorder accounts(unowned.getAccounts());
  EXPECT_THAT(accounts.events(), ElementsAre("failed"));
  EXPECT_EQ(accounts.error()->as<GoogleDriveAccountProviderError>(),
            GoogleDriveAccountProviderError::emptySelf);
  EXPECT_EQ(pool->pendingBlocks(), 0u);
}
