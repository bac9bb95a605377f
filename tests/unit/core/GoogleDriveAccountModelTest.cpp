#include <Corvane/GoogleDriveAccountModel.hpp>

#include <gtest/gtest.h>

#include <unordered_set>

using namespace corvane;

namespace {
using Hash = std::hash<GoogleDriveAccountModel>;
}

TEST(GoogleDriveAccountModel, TwoOfTheSameEmailAreEqualAndASetHoldsOne) {
  const GoogleDriveAccountModel one("ada@example.com");
  const GoogleDriveAccountModel other("ada@example.com");
  EXPECT_EQ(one, other);
  EXPECT_EQ(Hash{}(one), Hash{}(other));
  EXPECT_EQ((std::unordered_set<GoogleDriveAccountModel>{one, other}).size(), 1u);
}

TEST(GoogleDriveAccountModel, EmailsThatDifferInLetterCaseNameDifferentAccounts) {
  EXPECT_NE(GoogleDriveAccountModel("ada@example.com"), GoogleDriveAccountModel("Ada@example.com"));
}

TEST(GoogleDriveAccountModel, EmailsOfTheSameCharactersAreEqualHoweverTheyAreComposed) {
  const GoogleDriveAccountModel composed("ren\u00E9@example.com");
  const GoogleDriveAccountModel decomposed("rene\u0301@example.com");
  EXPECT_EQ(composed, decomposed);
  EXPECT_EQ(Hash{}(composed), Hash{}(decomposed));
}

TEST(GoogleDriveAccountModel, OneWithAnEmptyEmailComparesLikeAnyOther) {
  EXPECT_EQ(GoogleDriveAccountModel(""), GoogleDriveAccountModel(""));
  EXPECT_NE(GoogleDriveAccountModel(""), GoogleDriveAccountModel("ada@example.com"));
}

TEST(GoogleDriveAccountModel, KeepsTheEmailAsItCame) {
  EXPECT_EQ(GoogleDriveAccountModel("  ADA@example.com ").userEmail(), "  ADA@example.com ");
}
