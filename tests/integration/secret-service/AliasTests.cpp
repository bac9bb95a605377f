#include "FaultyKeyring.hpp"

// The search under the default keyring's alias, which stands for the longer one only where both would tell the same.

namespace corvane::test {
namespace {

using ::testing::IsEmpty;

class Alias : public FaultyKeyringTest {
 protected:
  /// A keychain with a connection, and ada's item in a keyring that behaves as asked for.
  SecretServiceKeychain& holdingAda(const std::string& options) {
    start(options);
    auto& result = keychain();
    EXPECT_EQ(add(result, "ada"), errSecSuccess);
    forgetCalls();
    return result;
  }

  /// Everything that is done with an item, and its secret on the way.
  void expectAnOrdinaryLife(SecretServiceKeychain& same) {
    std::string secret;
    EXPECT_EQ(read(same, "ada", &secret), errSecSuccess);
    EXPECT_EQ(secret, "secret");
    EXPECT_EQ(remove(same, "ada"), errSecSuccess);
    EXPECT_EQ(calls("Delete"), 1);
    EXPECT_EQ(read(same, "ada"), errSecItemNotFound);
    EXPECT_EQ(add(same, "ada"), errSecSuccess);
    EXPECT_EQ(read(same, "ada"), errSecSuccess);
    EXPECT_THAT(problems, IsEmpty());
  }
};

TEST_F(Alias, IsNotNeeded) {
  expectAnOrdinaryLife(holdingAda("--no-alias"));
}

TEST_F(Alias, ThatCannotBeSearchedIsTriedOnce) {
  for (const auto* name : {"UnknownMethod", "UnknownObject", "UnknownInterface", "NoSuchObject"}) {
    auto& same =
        holdingAda(std::string("--unknown-at SearchAlias --unknown-as org.freedesktop.DBus.Error.") + name);
    expectAnOrdinaryLife(same);
    EXPECT_EQ(calls("SearchAlias"), 1) << name;
  }
}

TEST_F(Alias, ThatLeadsElsewhereIsNotFollowed) {
  expectAnOrdinaryLife(holdingAda("--stray-alias"));
}

TEST_F(Alias, ThatRefusesAccessIsToldAsSuch) {
  EXPECT_EQ(read(holdingAda("--deny-at SearchAlias"), "ada"), errSecAuthFailed);
}

TEST_F(Alias, IsUsedByTheFirstCallOfAConversationToo) {
  holdingAda({});
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(calls("SearchAlias"), 1);
  EXPECT_EQ(calls("SearchItems"), 0);
}

TEST_F(Alias, OfALockedKeyringIsUnlockedWhetherOrNotItMayBeSearched) {
  for (const auto* options : {"--shy", "--silent", ""}) {
    auto& same = holdingAda(options);
    lock();
    EXPECT_EQ(read(same, "ada"), errSecSuccess);
    EXPECT_EQ(calls("Prompt"), 1);
    lock();
    EXPECT_EQ(remove(same, "ada"), errSecSuccess);
    EXPECT_EQ(calls("Prompt"), 2);
  }
}

TEST_F(Alias, OfALockedKeyringThatShowsAPartIsNotTakenForTheWhole) {
  auto& same = holdingAda("--twins --partial");
  lock();
  EXPECT_EQ(remove(same, "ada"), errSecSuccess);
  EXPECT_EQ(calls("Delete"), 2);
  EXPECT_EQ(read(same, "ada"), errSecItemNotFound);
}

TEST_F(Alias, OfAServiceThatDiesMidwayIsNotAvailable) {
  for (const auto* call : {"SearchAlias", "ItemProperties", "GetSecrets"}) {
    auto& same = holdingAda(std::string("--die-at ") + call);
    EXPECT_EQ(read(same, "ada"), errSecNotAvailable) << call;
    start();
    EXPECT_EQ(read(same, "ada"), errSecItemNotFound) << call;
  }
}

TEST_F(Alias, FindsWhatAnotherProgramPutInTheItemsPlace) {
  auto& same = holdingAda({});
  {
    SecretServiceKeychain others;
    ASSERT_EQ(remove(others, "ada"), errSecSuccess);
    ASSERT_EQ(add(others, "ada", "theirs"), errSecSuccess);
  }
  std::string secret;
  EXPECT_EQ(read(same, "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, "theirs");
  {
    SecretServiceKeychain others;
    ASSERT_EQ(remove(others, "ada"), errSecSuccess);
  }
  EXPECT_EQ(read(same, "ada"), errSecItemNotFound);
  EXPECT_EQ(remove(same, "ada"), errSecItemNotFound);
}

TEST_F(Alias, GivesNothingOfAnItemThatVanishesMeanwhile) {
  for (const auto* call : {"ItemProperties", "GetSecrets"})
    EXPECT_EQ(read(holdingAda(std::string("--vanish-at ") + call), "ada"), errSecItemNotFound) << call;
  EXPECT_EQ(remove(holdingAda("--vanish-at Delete"), "ada"), errSecItemNotFound);
}

}  // namespace
}  // namespace corvane::test
