#include <lintrix/engine/call/matrix_check.h>

#include <array>
#include <cstddef>
#include <optional>

namespace Velmar::Lintrix::detail::engine {

namespace {

using Numbers = std::array<int, 3>;
using Finding = std::optional<Numbers>;

/// The caller's arrays under the indices of the messages.
class OneBased {
public:
    explicit OneBased(const Arguments& call) noexcept : n(call.n), ia_(call.ia), ja_(call.ja) {}
    int ia(int i) const noexcept { return ia_[static_cast<std::ptrdiff_t>(i) - 1]; }
    int iaNext(int i) const noexcept { return ia_[i]; }
    int ja(int j) const noexcept { return ja_[static_cast<std::ptrdiff_t>(j) - 1]; }
    int jaNext(int j) const noexcept { return ja_[j]; }

    const int n;

private:
    const int* ia_;
    const int* ja_;
};

Finding rowStarts(const OneBased& A)
{
    Finding last;
    if (A.ia(1) != 1) last = {1, A.ia(1), A.iaNext(1)};
    for (int i = 1;; ++i) {
        if (A.iaNext(i) <= A.ia(i)) last = {i, A.ia(i), A.iaNext(i)};
        if (i == A.n) return last;
    }
}

Finding columnsInRange(const OneBased& A)
{
    Finding last;
    for (int j = 1; j < A.iaNext(A.n); ++j) {
        if (A.ja(j) < 1 || A.ja(j) > A.n) last = {j, A.ja(j), A.n};
    }
    return last;
}

Finding upperTriangle(const OneBased& A)
{
    Finding last;
    for (int i = 1;; ++i) {
        const int j = A.ia(i);
        if (A.ja(j) < i) last = {i, j, A.ja(j)};
        if (i == A.n) return last;
    }
}

Finding columnsAscend(const OneBased& A)
{
    Finding last;
    for (int i = 1;; ++i) {
        for (int j = A.ia(i); j < A.iaNext(i) - 1; ++j) {
            if (A.jaNext(j) <= A.ja(j)) last = {j, A.ja(j), A.jaNext(j)};
        }
        if (i == A.n) return last;
    }
}

struct Test {
    int code;
    Finding (*run)(const OneBased& A);
    bool ofSymmetricStorage = false;
};

// Each test relies on those before it: row starts that ascend lie within the entries.
constexpr Test kTests[] = {
    {21, rowStarts},
    {22, columnsInRange},
    {23, upperTriangle, true},
    {24, columnsAscend},
};

void tell(const Numbers& numbers, Parameters iparm)
{
    iparm[Parameter::CheckFirst] = numbers[0];
    iparm[Parameter::CheckSecond] = numbers[1];
    iparm[Parameter::CheckThird] = numbers[2];
}

} // namespace

Failure checkMatrix(const Arguments& call)
{
    const OneBased A(call);
    for (const Test& test : kTests) {
        if (test.ofSymmetricStorage && !isSymmetricStorage(call.mtype)) continue;
        if (const Finding finding = test.run(A)) {
            tell(*finding, call.iparm);
            return badInput(test.code);
        }
    }
    call.iparm[Parameter::MatrixCheck] = 0;
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
