#include "contract/publishers/PublisherContract.hpp"

#include <vector>

#include "OperationCases.hpp"
#include "OperatorCases.hpp"

namespace corvane::test {

INSTANTIATE_TEST_SUITE_P(Operators, PublisherContract, testing::ValuesIn(operatorCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Operators, PublisherContractDeathTest, testing::ValuesIn(operatorCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Operations, PublisherContract, testing::ValuesIn(operationCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Operations, PublisherContractDeathTest, testing::ValuesIn(operationCases()), nameOf);

}  // namespace corvane::test
