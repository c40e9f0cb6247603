#pragma once
/// @file
/// The matching's working record: the magnitudes of a matrix in compressed rows of its own.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The caller's matrix while its indices count from 0: row i is entries ia[i] to ia[i + 1] - 1, entry k
/// stands in column ja[k]. `T` is float, double or std::complex of one of them.
template <class T>
struct CompressedRows {
    std::span<const int> ia; ///< rows() + 1 offsets
    std::span<const int> ja; ///<
    std::span<const T> a;    ///<

    int rows() const noexcept { return static_cast<int>(ia.size()) - 1; }
};

/// A square matrix in compressed rows that owns its arrays, all counting from 0.
struct csr_new {
    int n = 0;         ///< order
    int nnz = 0;       ///< entries
    Scratch<int> ia;   ///< n + 1 offsets
    Scratch<int> ja;   ///< nnz columns
    Scratch<double> m; ///< nnz values
};

enum class Triangles {
    AsStored, ///< every entry where it stands
    Both,     ///< and once more at the mirrored place, off the diagonal
};

/// |x| in double precision. Infinity and NaN count as the largest finite number: a place that holds one is
/// not empty, and the arithmetic on magnitudes stays finite.
template <class T>
double magnitudeOf(const T& x) noexcept;

/// Fills `record` with the magnitudes of the entries that are not exactly zero; rows that ascend stay so.
/// Precondition: columns lie in 0 .. rows - 1. Cost: two passes over the matrix.
/// Fails with -401, or with an overflow when both triangles have more entries than 32 bits count. `record`
/// is then as it was.
template <class T>
Failure copyMagnitudes(const CompressedRows<T>& matrix, Triangles triangles, csr_new& record) noexcept;

/// What can be wrong with a permutation.
struct PermutationFault {
    enum class Kind {
        None,
        Inconsistent,     ///< `inverse` does not undo `forward`
        OutOfRange,       ///< `count` values below 0 or from n on
        MultipleElements, ///< `count` values that stand at an earlier place already
    };
    Kind kind = Kind::None;
    int count = 0; ///< how many places are wrong
    int first = 0; ///< the first of them
    int value = 0; ///< and what stands there

    explicit operator bool() const noexcept { return kind != Kind::None; }
};

/// Whether `forward` is a permutation of 0 .. n - 1 and `inverse`, unless it is empty, its inverse. Ranges
/// come before multiples, and these before the inverse. `marks` has bvec_new::wordsFor(n) words, all zero;
/// they are left set where a value was seen.
LINTRIX_TESTABLE PermutationFault checkPermutation(std::span<const int> forward, std::span<const int> inverse,
                                                   std::span<int> marks) noexcept;

/// The fault in words, cut to what `text` holds, with a final zero; empty when there is none.
LINTRIX_TESTABLE void describe(const PermutationFault& fault, std::span<char> text) noexcept;

} // namespace Velmar::Lintrix::detail::engine
