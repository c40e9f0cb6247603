// What is said where the libraries would not get the address space that they take.

#include <tools/support/address_space.h>
#include <tools/support/input_error.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include <sys/resource.h>

namespace Velmar::Lintrix::testing {
namespace {

// More than any address space holds, so that no limit of the process is to blame.
TEST(RequireAddressSpace, ALimitIsToldOnlyWhereThereIsOne)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
    try {
        tools::requireAddressSpace(INT_MAX);
        FAIL() << "so much was given";
    } catch (const tools::InputError& failure) {
        const std::string text = failure.what();
        EXPECT_EQ(text.find("limited") != std::string::npos, limit.rlim_cur != RLIM_INFINITY) << text;
        EXPECT_EQ(text.find("inf"), std::string::npos) << text;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
