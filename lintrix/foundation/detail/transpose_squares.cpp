// Squares of 8 x 8 cells, whole cache lines where the columns begin at such, one behind the other down a
// strip of 8 columns: eight streams are read that the processor sees coming. A square is made of W x W ones,
// and such a one is transposed in registers: for each bit of W the elements that differ in that bit alone, of
// row and column number the one and the other, change places (J. O. Eklundh, "A fast computer method for
// matrix transposing", IEEE Trans. Comput. C-21 (1972)).

#include <lintrix/foundation/detail/transpose_squares.h>

#include <lintrix/foundation/detail/transpose_tiles.h>

#include <cstddef>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr int kSquare = 8;

template <int W>
struct Lanes {
    typedef double Register __attribute__((vector_size(W * sizeof(double))));
    /// Wherever a double may stand.
    typedef double Memory
        __attribute__((vector_size(W * sizeof(double)), aligned(sizeof(double)), may_alias));
};

/// The elements of x with the bit S in their numbers, and those of y without it, change places.
template <int S, class Vector, std::size_t... E>
[[gnu::always_inline]] inline void exchange(Vector& x, Vector& y, std::index_sequence<E...>)
{
    constexpr std::size_t kWidth = sizeof...(E);
    const Vector lower = __builtin_shufflevector(x, y, ((E & S) != 0 ? kWidth + E - S : E)...);
    y = __builtin_shufflevector(x, y, ((E & S) != 0 ? kWidth + E : E + S)...);
    x = lower;
}

template <int S, int W>
[[gnu::always_inline]] inline void exchangeAll(typename Lanes<W>::Register* columns)
{
    if constexpr (S < W) {
        for (int k = 0; k < W; ++k)
            if ((k & S) == 0) exchange<S>(columns[k], columns[k + S], std::make_index_sequence<W>());
        exchangeAll<2 * S, W>(columns);
    }
}

template <int W>
[[gnu::always_inline]] inline void transposeInRegisters(const double* a, std::uint64_t lda, double* b,
                                                        std::uint64_t ldb)
{
    using Memory = typename Lanes<W>::Memory;
    typename Lanes<W>::Register columns[W];
    for (std::uint64_t k = 0; k < W; ++k) columns[k] = *reinterpret_cast<const Memory*>(a + lda * k);
    exchangeAll<1, W>(columns);
    for (std::uint64_t k = 0; k < W; ++k) *reinterpret_cast<Memory*>(b + ldb * k) = columns[k];
}

template <int W>
[[gnu::always_inline]] inline void transposeSquare(const double* a, std::uint64_t lda, double* b,
                                                   std::uint64_t ldb)
{
    for (std::uint64_t i = 0; i < kSquare; i += W)
        for (std::uint64_t j = 0; j < kSquare; j += W)
            transposeInRegisters<W>(a + i + lda * j, lda, b + j + ldb * i, ldb);
}

template <int W>
[[gnu::always_inline]] inline void transposeStrips(std::uint64_t rows, std::uint64_t cols, const double* a,
                                                   std::uint64_t lda, double* b, std::uint64_t ldb)
{
    const std::uint64_t squareRows = rows - rows % kSquare, squareCols = cols - cols % kSquare;
    for (std::uint64_t j = 0; j < squareCols; j += kSquare) {
        for (std::uint64_t i = 0; i < squareRows; i += kSquare)
            transposeSquare<W>(a + i + lda * j, lda, b + j + ldb * i, ldb);
        transposeTile(rows - squareRows, kSquare, a + squareRows + lda * j, lda, b + j + ldb * squareRows,
                      ldb, std::identity());
    }
    transposeTiles(rows, cols - squareCols, a + lda * squareCols, lda, b + squareCols, ldb, std::identity());
}

void transposeSse2(std::uint64_t rows, std::uint64_t cols, const double* a, std::uint64_t lda, double* b,
                   std::uint64_t ldb)
{
    transposeStrips<2>(rows, cols, a, lda, b, ldb);
}

LINTRIX_FOR_AVX2 void transposeAvx2(std::uint64_t rows, std::uint64_t cols, const double* a,
                                    std::uint64_t lda, double* b, std::uint64_t ldb)
{
    transposeStrips<4>(rows, cols, a, lda, b, ldb);
}

LINTRIX_FOR_AVX512 void transposeAvx512(std::uint64_t rows, std::uint64_t cols, const double* a,
                                        std::uint64_t lda, double* b, std::uint64_t ldb)
{
    transposeStrips<8>(rows, cols, a, lda, b, ldb);
}

} // namespace

const KernelForms<TransposeSquares>& transposeSquares() noexcept
{
    static constexpr KernelForms<TransposeSquares> kForms{transposeSse2, transposeAvx2, transposeAvx512};
    return kForms;
}

} // namespace Velmar::Lintrix::detail
