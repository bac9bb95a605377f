#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAccountProviderError.hpp>

#include <gtest/gtest.h>

#include <unordered_set>

using namespace corvane;

TEST(GoogleDriveAPIError, IsEqualOnlyToTheSameCaseAndHashesByCase) {
  using Error = GoogleDriveAPIError;
  EXPECT_EQ(Error::convertAbout, Error::convertAbout);
  EXPECT_NE(Error::convertAbout, Error::convertFilesList);
  const std::unordered_set<Error> all{Error::emptyAccessToken, Error::emptyService, Error::convertAbout,
                                      Error::convertFilesList, Error::convertAbout};
  EXPECT_EQ(all.size(), 4u);
}

TEST(GoogleDriveAccountProviderError, IsEqualAndHashedByCase) {
  using Error = GoogleDriveAccountProviderError;
  const std::unordered_set<Error> all{Error::emptySelf, Error::emptyAccessToken, Error::emptySelf};
  EXPECT_EQ(all.size(), 2u);
}
