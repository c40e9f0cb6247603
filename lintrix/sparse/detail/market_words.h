#pragma once
/// @file
/// The words of Matrix Market files: the header's, in one table for reading and writing, and how a line is
/// taken apart.

#include <lintrix/sparse/matrix_market.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace Velmar::Lintrix::detail {

template <class Value, std::size_t count>
using HeaderWords = std::array<std::pair<std::string_view, Value>, count>;

inline constexpr HeaderWords<MatrixMarketForm, 2> kForms{
    {{"coordinate", MatrixMarketForm::Coordinate}, {"array", MatrixMarketForm::Array}}};
/// The first word of a value is the one written.
inline constexpr HeaderWords<MatrixMarketField, 5> kFields{{{"real", MatrixMarketField::Real},
                                                            {"double", MatrixMarketField::Real},
                                                            {"integer", MatrixMarketField::Integer},
                                                            {"pattern", MatrixMarketField::Pattern},
                                                            {"complex", MatrixMarketField::ComplexNumber}}};
inline constexpr HeaderWords<MatrixMarketSymmetry, 4> kSymmetries{
    {{"general", MatrixMarketSymmetry::General},
     {"symmetric", MatrixMarketSymmetry::Symmetric},
     {"skew-symmetric", MatrixMarketSymmetry::SkewSymmetric},
     {"hermitian", MatrixMarketSymmetry::Hermitian}}};

template <class Value, std::size_t count>
std::optional<Value> lookUp(std::string_view word, const HeaderWords<Value, count>& known)
{
    const auto found = std::ranges::find(known, word, &std::pair<std::string_view, Value>::first);
    return found == known.end() ? std::nullopt : std::optional(found->second);
}

template <class Value, std::size_t count>
std::string_view wordFor(Value value, const HeaderWords<Value, count>& known)
{
    return std::ranges::find(known, value, &std::pair<std::string_view, Value>::second)->first;
}

inline bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

/// Takes the first word off `rest`; empty when there is none.
inline std::string_view takeWord(std::string_view& rest)
{
    const auto begin = std::find_if_not(rest.begin(), rest.end(), isBlank);
    const auto end = std::find_if(begin, rest.end(), isBlank);
    rest = {end, rest.end()};
    return {begin, end};
}

/// ASCII only, whatever the locale.
inline std::string lowerCase(std::string_view word)
{
    std::string lower(word);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

/// All of `word` as a number; a single leading "+" is taken too.
template <class Number>
std::errc parseWord(std::string_view word, Number& value)
{
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error == std::errc() && end != word.data() + word.size()) return std::errc::invalid_argument;
    return error;
}

/// What a number beyond the range becomes: infinite, or zero, or nearly so. std::from_chars does not tell
/// which; strtod does, in a locale of its own.
double extremeValue(const std::string& word);

} // namespace Velmar::Lintrix::detail
