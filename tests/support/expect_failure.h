#pragma once
/// @file
/// Asserts that an operation raises one failure, of exactly one type, with exactly one text.

#include <gtest/gtest.h>

#include <exception>
#include <string_view>
#include <typeinfo>

namespace Velmar::Lintrix::testing {

/// `operation` must raise a `Failure`, not a type derived from it, that says `text` letter by letter.
template <class Failure, class Operation>
void expectFailure(Operation operation, std::string_view text)
{
    try {
        operation();
    } catch (const std::exception& e) {
        EXPECT_EQ(typeid(e), typeid(Failure)) << "raised: " << typeid(e).name() << " \"" << e.what() << '"';
        EXPECT_EQ(std::string_view(e.what()), text);
        return;
    }
    ADD_FAILURE() << "nothing was raised; expected: " << text;
}

} // namespace Velmar::Lintrix::testing
