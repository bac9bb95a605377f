#include "contract/json/JSONContract.hpp"

#include "nlohmann/NlohmannJSON.hpp"

namespace corvane::test {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Nlohmann, JSONContract, ::testing::Types<NlohmannJSON>);

}  // namespace
}  // namespace corvane::test
