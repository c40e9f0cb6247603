#pragma once
/// @file
/// A file whose head has been read: what it announces, and a walk over its entries. One class a format stands
/// behind it.

#include <lintrix/sparse/matrix_market.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

class EntryFile {
public:
    using Take = std::function<void(std::int32_t row, std::int32_t col, const std::complex<double>& value)>;

    virtual ~EntryFile() = default;

    const MatrixMarketHeader& header() const noexcept { return header_; }
    /// Columns of right-hand sides that the file has beside the matrix.
    virtual std::int32_t rightHands() const noexcept { return 0; }
    /// How many entries may be made room for before they are seen.
    virtual std::int64_t vouchedEntries() const { return header_.stored; }
    /// All entries as they stand, from 0; of a symmetric matrix its lower triangle. Once.
    virtual void readEntries(const Take& take) = 0;
    /// All elements of the right-hand sides that are given. After the entries, once.
    virtual void readRightHands(const Take&) {}

    void acceptNonFinite() noexcept { finite_ = false; }

protected:
    bool isRefused(const std::complex<double>& value) const
    {
        return finite_ && !(std::isfinite(value.real()) && std::isfinite(value.imag()));
    }

    MatrixMarketHeader header_;

private:
    bool finite_ = true;
};

/// As it stands in messages.
inline std::string placeInWords(std::int64_t row, std::int64_t col)
{
    return "entry (" + std::to_string(row + 1) + ", " + std::to_string(col + 1) + ")";
}

} // namespace Velmar::Lintrix::detail
