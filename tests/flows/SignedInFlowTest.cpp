#include "FlowFixture.hpp"

#include <gmock/gmock.h>

#include <algorithm>

namespace corvane::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

bool holds(const std::vector<File>& files, const std::string& id) {
  return std::any_of(files.begin(), files.end(), [&id](const File& file) { return file.id == id; });
}

std::vector<std::string> emails(const std::vector<GoogleDriveAccountModel>& accounts) {
  std::vector<std::string> texts;
  for (const auto& account : accounts) texts.push_back(account.userEmail());
  return texts;
}

TEST_F(FlowTest, SignsInListsTrashesDeletesAndSignsOut) {
  auto factory = makeFactory();
  const auto accounts = factory.makeAccountProvider();
  ASSERT_EQ(errorKind(*failureOf([&] { get(accounts->getAccounts()); })), ErrorKind::notSignedIn);

  const auto ada = signIn(factory);
  EXPECT_EQ(ada.userEmail(), "ada@example.com");
  EXPECT_THAT(emails(get(accounts->getAccounts())), UnorderedElementsAre("ada@example.com"));

  const auto drive = factory.makeAPI(ada);
  EXPECT_EQ(get(drive->getAbout()).user.emailAddress, "ada@example.com");
  const auto files = everyFile(*drive);
  ASSERT_EQ(files.size(), adasFiles);
  std::set<std::string> ids;
  for (const auto& file : files) ids.insert(file.id);
  EXPECT_EQ(ids.size(), adasFiles) << "a file came twice";

  get(drive->moveToTrash(files[0].id));
  get(drive->deleteFile(files[1].id));
  const auto left = everyFile(*drive);
  EXPECT_EQ(left.size(), adasFiles - 2);
  EXPECT_FALSE(holds(left, files[0].id));
  EXPECT_FALSE(holds(left, files[1].id));

  get(factory.makeAuthorizationProvider(nullptr)->signOut(ada));
  EXPECT_EQ(errorKind(*failureOf([&] { get(accounts->getAccounts()); })), ErrorKind::notSignedIn);
}

TEST_F(FlowTest, SessionSurvivesARestartOfTheHost) {
  {
    auto factory = makeFactory();
    signIn(factory);
  }
  CorvaneFactory restarted(
      std::nullopt, "flows", "", [] { return std::nullopt; }, makePlatform());
  const auto account = get(restarted.makeAccountProvider()->getAccounts()).front();
  EXPECT_EQ(get(restarted.makeAPI(account)->getAbout()).user.emailAddress, "ada@example.com");
}

TEST_F(FlowTest, TwoAccountsSeeTheirOwnFilesOnly) {
  auto adasHost = makeFactory("ada@example.com");
  auto gracesHost = makeFactory("grace@example.com");
  const auto ada = signIn(adasHost);
  const auto grace = signIn(gracesHost);
  EXPECT_THAT(emails(get(adasHost.makeAccountProvider()->getAccounts())),
              UnorderedElementsAre("ada@example.com", "grace@example.com"));
  EXPECT_EQ(everyFile(*adasHost.makeAPI(ada)).size(), adasFiles);
  EXPECT_EQ(everyFile(*adasHost.makeAPI(grace)).size(), 7u);
}

TEST_F(FlowTest, ExpiredTokenIsRefreshedOnceForManyRequests) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  get(drive->getAbout());
  google.expireTokens();
  google.journal().clear();

  std::vector<std::future<Result<About, AnyError>>> abouts;
  for (int i = 0; i < 20; ++i) abouts.push_back(toFuture(drive->getAbout()));
  for (auto& about : abouts) EXPECT_TRUE(about.get().isSuccess());
  EXPECT_EQ(google.journal().count("token"), 1u);
}

TEST_F(FlowTest, RevokedGrantAsksForANewSignIn) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  google.revokeAll();
  const auto error = failureOf([&] { get(drive->getFilesPage(std::nullopt)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(errorKind(*error), ErrorKind::notSignedIn);
  EXPECT_TRUE(impatient->delays().empty()) << "a refused grant was tried again";
}

TEST_F(FlowTest, RemovedSessionKeepsServingTheObjectThatReadItAndNoOther) {
  auto factory = makeFactory();
  const auto ada = signIn(factory);
  const auto drive = factory.makeAPI(ada);
  get(drive->getAbout());
  get(factory.makeAuthorizationProvider(nullptr)->signOut(ada));

  EXPECT_FALSE(failureOf([&] { get(drive->getAbout()); }));
  const auto error = failureOf([&] { get(factory.makeAPI(ada)->getAbout()); });
  ASSERT_TRUE(error);
  EXPECT_EQ(keychainStatus(*error), errSecItemNotFound);
}

TEST_F(FlowTest, ApiObjectMadeBeforeTheSignInWorksAfterIt) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(GoogleDriveAccountModel("ada@example.com"));
  ASSERT_TRUE(failureOf([&] { get(drive->getAbout()); }));
  signIn(factory);
  EXPECT_FALSE(failureOf([&] { get(drive->getAbout()); }));
}

TEST_F(FlowTest, RequestsCarryWhatTheyShould) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  const auto file = get(drive->getFilesPage(std::nullopt)).files().front();
  get(drive->moveToTrash(file.id));
  get(drive->deleteFile(file.id));

  const auto list = google.journal().entries("files.list").front();
  EXPECT_THAT(list.target, HasSubstr("pageSize=500"));
  EXPECT_THAT(list.target, HasSubstr("prettyPrint=false"));
  EXPECT_EQ(list.header("Accept-Encoding"), "gzip");
  EXPECT_THAT(std::string(list.header("User-Agent")), HasSubstr("Corvane/"));
  EXPECT_THAT(std::string(list.header("User-Agent")), HasSubstr("(gzip)"));

  const auto trash = google.journal().entries("files.update").front();
  EXPECT_EQ(trash.body, R"({"trashed":true})");
  EXPECT_THAT(trash.target, HasSubstr("supportsAllDrives=true"));
  const auto remove = google.journal().entries("files.delete").front();
  EXPECT_EQ(remove.bodyLength, 0u);
  EXPECT_THAT(remove.target, Not(HasSubstr("supportsAllDrives")));
}

}  // namespace
}  // namespace corvane::test
