#pragma once
/// @file
/// From right-hand sides to solutions with a stored factor: permute, scale, substitute, scale, permute back.

#include <lintrix/engine/solution/panel_stream.h>
#include <lintrix/engine/solution/parted_substitution.h>
#include <lintrix/engine/solution/substitution.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Where the equations and unknowns of A stand in the elimination order, and their factors. The factor is
/// that of the matrix with r_i a_ij c_j at (rowPosition(i), positionOf[j]).
struct SystemFrame {
    std::span<const int> positionOf;  ///< of unknown j
    std::span<const int> columnOfRow; ///< row i stands where unknown columnOfRow[i] does; empty: where i does
    std::span<const double> rowScale; ///< r; empty: all 1
    std::span<const double> columnScale; ///< c; empty: all 1
};

/// What of a solve is done.
enum class SolvePart : int {
    All = 0,
    Forward = 1,  ///< permutation, scaling and forward substitution
    Diagonal = 2, ///<
    Backward = 3  ///< backward substitution, scaling and permutation
};

/// Solves op(A) X = B. Between its parts, vectors stand in elimination order and scaled.
template <class T>
class LINTRIX_TESTABLE DirectSolve {
public:
    /// Without parts the factor is not split. `work` has workSize() elements and belongs to this alone. Where
    /// the panels are in files `stream` gives them, and there are no parts.
    DirectSolve(const StoredFactor<T>& factor, const SystemFrame& frame, const SubstitutionParts& parts,
                bool transposed, int threads, T* work, PanelStream<T>* stream = nullptr) noexcept
        : factor_(factor), frame_(frame), parts_(parts), transposed_(transposed), threads_(threads),
          work_(work), stream_(stream)
    {
    }
    static std::int64_t workSize(const StoredFactor<T>& factor, const SubstitutionParts& parts, int threads,
                                 int count) noexcept;
    /// Right-hand sides that all passes over the factor take along, with those that fill up their blocks.
    static double sidesIn(int threads, int count, bool fromFiles) noexcept;
    /// Whether parts would be used: there are too few right-hand sides to give each thread a full pass over
    /// the factor. A pass of eight real ones costs little more than for one, reading the factor; with three
    /// or four complex ones it computes for longer than it reads.
    static bool takesParts(int threads, int count) noexcept
    {
        constexpr std::int64_t kFewForAPass = kIsComplex<T> ? 2 : 7;
        return threads > 1 && count <= threads * kFewForAPass;
    }

    /// `b` and `x` are n x count, column after column, and may be the same. Many right-hand sides are dealt
    /// out to the threads in blocks, each of which passes over the factor once. Few share each pass, which
    /// the threads go by parts where there are any; else they are dealt out, too, and one alone is one
    /// thread's. Panels in files are read once on each of the two ways, for all of them: those of L on the
    /// one; on the other those of U with the diagonal blocks, or in symmetric storage L again. Where that
    /// fails, which the stream tells, X is undefined.
    void solve(const T* b, T* x, int count, SolvePart part = SolvePart::All) const;

private:
    void solveFromFiles(const T* b, T* x, int count, SolvePart part) const;
    void solveByParts(const T* b, T* x, int count, SolvePart part) const;
    void solveBlock(const T* b, T* x, int count, SolvePart part, const RightSides<T>& y) const;
    int threadsFor(std::int64_t cells) const;
    void bring(const T* b, int count, bool permutes, const RightSides<T>& y) const;
    void takeBack(const RightSides<T>& y, int count, bool permutes, T* x) const;

    StoredFactor<T> factor_;
    SystemFrame frame_;
    SubstitutionParts parts_;
    bool transposed_;
    int threads_;
    T* work_;
    PanelStream<T>* stream_;
};

} // namespace Velmar::Lintrix::detail::engine
