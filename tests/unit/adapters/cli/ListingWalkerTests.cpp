#include "ListingWalker.hpp"
#include "Samples.hpp"

#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>
#include <map>

namespace corvane::cli::test {
namespace {

using Token = std::optional<std::string>;

/// A listing whose pages are known by token, and which remembers what was asked.
struct Listing {
  std::map<std::string, Token> nextOf;  // by token, "" for the first page
  std::vector<std::string> asked;

  ListingWalker::RequestPage requests() {
    return [this](Token token) {
      asked.push_back(token.value_or(""));
      const auto found = nextOf.find(asked.back());
      if (found == nextOf.end()) return AnyPublisher<FilesPage>::failing(NSError(NSURLErrorDomain, -1005));
      return AnyPublisher<FilesPage>::just(FilesPage({fileNamed(asked.back())}, found->second));
    };
  }
};

TEST(ListingWalker, WalksFromTheFirstPageToTheLast) {
  Interrupt interrupt;
  Listing listing{{{"", "b"}, {"b", "c"}, {"c", std::nullopt}}, {}};
  ListingWalker walker(listing.requests(), std::nullopt, std::nullopt, interrupt);
  std::vector<std::string> names;
  while (const auto page = walker.next()) names.push_back(page->files().front().name);
  EXPECT_EQ(names, (std::vector<std::string>{"", "b", "c"}));
  EXPECT_EQ(walker.resumeToken(), std::nullopt);
  EXPECT_FALSE(walker.next());
}

TEST(ListingWalker, AsksOnePageAheadAndNoMore) {
  Interrupt interrupt;
  Listing listing{{{"", "b"}, {"b", "c"}, {"c", std::nullopt}}, {}};
  ListingWalker walker(listing.requests(), std::nullopt, std::nullopt, interrupt);
  EXPECT_TRUE(listing.asked.empty());
  walker.next();
  EXPECT_EQ(listing.asked, (std::vector<std::string>{"", "b"}));
  walker.next();
  EXPECT_EQ(listing.asked, (std::vector<std::string>{"", "b", "c"}));
}

TEST(ListingWalker, StopsAfterTheWantedPagesWithoutAskingForMore) {
  Interrupt interrupt;
  Listing listing{{{"", "b"}, {"b", "c"}, {"c", std::nullopt}}, {}};
  ListingWalker walker(listing.requests(), std::nullopt, 2, interrupt);
  EXPECT_TRUE(walker.next());
  EXPECT_TRUE(walker.next());
  EXPECT_FALSE(walker.next());
  EXPECT_EQ(listing.asked, (std::vector<std::string>{"", "b"}));
  EXPECT_EQ(walker.resumeToken(), "c");
}

TEST(ListingWalker, BeginsAtTheGivenPage) {
  Interrupt interrupt;
  Listing listing{{{"b", std::nullopt}}, {}};
  ListingWalker walker(listing.requests(), "b", std::nullopt, interrupt);
  EXPECT_EQ(walker.next()->files().front().name, "b");
  EXPECT_FALSE(walker.next());
}

TEST(ListingWalker, FailureOfAPageComesAfterThePagesBeforeItAndNamesWhereToResume) {
  Interrupt interrupt;
  Listing listing{{{"", "b"}, {"b", "lost"}}, {}};
  ListingWalker walker(listing.requests(), std::nullopt, std::nullopt, interrupt);
  EXPECT_TRUE(walker.next());
  EXPECT_TRUE(walker.next());
  EXPECT_THROW(walker.next(), AnyError);
  EXPECT_EQ(walker.resumeToken(), "lost");
}

TEST(ListingWalker, RepeatedTokenStopsTheListingAfterItsPage) {
  for (const Token& first : {Token(), Token("a")}) {
    Interrupt interrupt;
    Listing listing{{{"", "a"}, {"a", "b"}, {"b", "a"}}, {}};
    ListingWalker walker(listing.requests(), first, std::nullopt, interrupt);
    std::size_t pages = 0;
    try {
      while (walker.next()) ASSERT_LT(++pages, 4u);
      FAIL() << "no error";
    } catch (const Failure& failure) {
      EXPECT_NE(failure.headline.find("the server repeated a page token"), std::string::npos);
      EXPECT_EQ(failure.exitCode, ExitCode::other);
    }
    EXPECT_EQ(pages, first ? 2u : 3u);
  }
}

TEST(ListingWalker, InterruptEndsTheWaitAndDroppingCancelsTheRequest) {
  Interrupt interrupt;
  const auto cancelled = std::make_shared<bool>(false);
  {
    ListingWalker walker([&](Token) { return unanswered<FilesPage>(cancelled); }, std::nullopt, std::nullopt,
                         interrupt);
    ::kill(::getpid(), SIGINT);
    EXPECT_THROW(walker.next(), Interrupted);
  }
  EXPECT_TRUE(*cancelled);
}

}  // namespace
}  // namespace corvane::cli::test
