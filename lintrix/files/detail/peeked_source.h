#pragma once
/// @file
/// Bytes whose beginning can be looked at before they are read.

#include <lintrix/sparse/detail/byte_source.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Velmar::Lintrix::detail {

class PeekedSource : public RawSource {
public:
    explicit PeekedSource(std::unique_ptr<RawSource> raw);

    /// The first bytes, unpacked where they are gzip: enough to tell a form.
    const std::string& beginning() const noexcept { return beginning_; }

    /// All bytes from the first on.
    std::size_t read(char* target, std::size_t size) override;
    std::string fault() const override { return raw_->fault(); }
    std::uint64_t size() const override { return raw_->size(); }

private:
    std::unique_ptr<RawSource> raw_;
    std::string peeked_;    ///< as they lie there
    std::size_t given_ = 0; ///< of these
    std::string beginning_;
};

} // namespace Velmar::Lintrix::detail
