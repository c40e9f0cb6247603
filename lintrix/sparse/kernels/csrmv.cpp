// y := alpha*op(A)*x + beta*y.

#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/kernels/dense_operand.h>
#include <lintrix/sparse/kernels/parameter_check.h>
#include <lintrix/sparse/kernels/scratch.h>
#include <lintrix/sparse/kernels/symmetric_rows.h>
#include <lintrix/sparse/kernels/thread_plan.h>

#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>

#include <atomic>

namespace Velmar::Lintrix::detail {

namespace {

template <class Cell>
struct Product {
    int m, k; // A is m x k
    Cell alpha, beta;
    CompressedRowsView<Cell> A;
    const Cell* x;
    Cell* y;

    Panel<const Cell> xPanel() const { return {x, 0}; }
    Panel<Cell> yPanel() const { return {y, 0}; }
};

/// What the elements and cells take on one thread, about one for each.
template <class Cell>
double nanoseconds(const Product<Cell>& p)
{
    const std::int64_t elements = p.m == 0 ? 0 : p.A.ends[p.m - 1] - p.A.starts[0];
    return static_cast<double>(elements + p.m);
}

template <class Cell>
void multiply(const Product<Cell>& p)
{
    const Blocks blocks = planRows(p.m, MKL_Get_Max_Threads());
    withScaling(p.beta, [&](auto scaled) {
        runParts(blocks.count, repaidTeam(blocks.count, nanoseconds(p)), [&](int block) {
            gatherRows<1, 2>(p.A, blocks.first(block), blocks.last(block), p.alpha, p.xPanel(), p.yPanel(),
                             scaled);
        });
    });
}

/// One thread, since any row may write to any cell of y.
template <class Cell>
void multiplyTransposed(const Product<Cell>& p, bool conjugate)
{
    withScaling(p.beta, [&](auto scaled) { scaleRows<1>(p.yPanel(), 0, p.k, scaled); });
    withConjugation<Cell>(conjugate, [&](auto conjugated) {
        scatterRows<1, conjugated>(p.A, p.m, p.alpha, p.xPanel(), p.yPanel());
    });
}

/// The first `rows` rows of a stored triangle, straight into y, all of which is scaled.
template <class Cell>
void symmetricIntoY(const SymmetricProduct<Cell>& p, int rows)
{
    const int ready = addSymmetricRows(p, 0, rows);
    withScaling(p.beta, [&](auto scaled) { scaleRows<1>(Panel<Cell>{p.y, 0}, ready, p.size, scaled); });
}

/// The symmetric product by a team of threads. Block 0 works on y itself; each other block has a buffer from
/// its first row to the end of y, which is cleared and used as far as its rows reach. Each thread takes its
/// buffers from its own pool, so that the memory is near it.
///
/// Every step is called by all threads of the team and ends where they meet. A block falls to the same thread
/// in each step.
template <class Cell>
class SymmetricTeam {
public:
    /// On as many threads as such work repays.
    SymmetricTeam(const SymmetricProduct<Cell>& product, const SymmetricPlan& plan, int threads)
        : p_(product), plan_(plan), blocks_(plan.blocks), threads_(threads),
          shares_(static_cast<std::size_t>(blocks_.count))
    {
    }

    /// Returns false, with y untouched, if the memory for a buffer was not there.
    bool run()
    {
        if (!shares_.isThere()) return false;
        runTeam(threads_, [this](const TeamMember& member) {
            takeBuffers(member);
            if (complete_) {
                multiplyBlocks(member);
                reduce(member);
            }
            giveBuffersBack(member);
        });
        return complete_;
    }

private:
    /// What a block of rows adds to y: to the rows first .. last-1, of which the first is cells[0].
    struct Share {
        Cell* cells;
        int first, last;
    };

    void takeBuffers(const TeamMember& member)
    {
        member.takeTurns(blocks_.count, [this](int block) {
            const int first = blocks_.first(block);
            const auto bytes = static_cast<std::size_t>(p_.size - first) * sizeof(Cell);
            shares_[block] = {block == 0 ? nullptr : static_cast<Cell*>(poolAllocate(bytes, 128)), first,
                              first};
            if (block != 0 && shares_[block].cells == nullptr) complete_ = false;
        });
        member.meet();
    }

    void multiplyBlocks(const TeamMember& member)
    {
        member.takeTurns(blocks_.count, [this](int block) {
            const int first = blocks_.first(block), last = blocks_.last(block);
            if (block == 0) {
                symmetricIntoY(p_, last);
            } else {
                SymmetricProduct<Cell> intoShare = p_;
                intoShare.beta = Cell{0.0};
                intoShare.y = shares_[block].cells - first;
                shares_[block].last = addSymmetricRows(intoShare, first, last);
            }
        });
        member.meet();
    }

    void reduce(const TeamMember& member)
    {
        if (plan_.sharedReduction) {
            member.takeTurns(blocks_.count,
                             [this](int block) { addShares(blocks_.first(block), blocks_.last(block)); });
        } else if (member.thread == 0) {
            addShares(0, p_.size);
        }
        member.meet();
    }

    /// Rows first .. last-1 of y += the shares of blocks 1, 2, ... in this order.
    void addShares(int first, int last)
    {
        for (int block = 1; block < blocks_.count; ++block) {
            const Share& share = shares_[block];
            const int end = std::min(last, share.last);
            for (int i = std::max(first, share.first); i < end; ++i) p_.y[i] += share.cells[i - share.first];
        }
    }

    void giveBuffersBack(const TeamMember& member)
    {
        member.takeTurns(blocks_.count, [this](int block) { poolRelease(shares_[block].cells); });
    }

    const SymmetricProduct<Cell>& p_;
    const SymmetricPlan& plan_;
    const Blocks& blocks_;
    const int threads_;
    const Scratch<Share> shares_;
    std::atomic<bool> complete_{true};
};

template <class Cell>
void multiplySymmetric(const Product<Cell>& p, bool conjugate)
{
    const SymmetricPlan plan = planSymmetric(p.m, MKL_Get_Max_Threads(), MKL_Get_Dynamic() != 0);
    const SymmetricProduct<Cell> product{p.A, p.m, conjugate, p.alpha, p.beta, p.x, p.y};
    const int threads = repaidTeam(plan.blocks.count, nanoseconds(p));
    if (plan.blocks.count > 1 && SymmetricTeam<Cell>(product, plan, threads).run()) return;
    symmetricIntoY(product, p.m);
}

/// Transposed, a wide matrix has a longer y than its triangle reaches: the rest is scaled, like all of y.
template <class Cell>
void scaleBehindTriangle(const Product<Cell>& p)
{
    withScaling(p.beta, [&](auto scaled) { scaleRows<1>(p.yPanel(), p.m, p.k, scaled); });
}

template <class Cell>
void csrmv(const char* routine, char trans, const char* descriptor, const Product<Cell>& product)
{
    if (!parametersHold(routine, {{isTransposition(trans), 1},
                                  {product.m >= 0, 2},
                                  {product.k >= 0, 3},
                                  {isDescriptor(descriptor), 5}})) {
        return;
    }
    if (isSymmetric(descriptor)) {
        multiplySymmetric(product, trans == 'C');
        if (trans != 'N') scaleBehindTriangle(product);
    } else if (isGeneral(descriptor)) {
        if (trans == 'N') {
            multiply(product);
        } else {
            multiplyTransposed(product, trans == 'C');
        }
    }
}

} // namespace

} // namespace Velmar::Lintrix::detail

namespace Velmar::Lintrix {

void mkl_dcsrmv(const char* transa, const int& m, const int& k, const double& alpha, const char* descriptor,
                const double* values, const int* columns, const int* rowStarts, const int* rowEnds,
                const double* x, const double& beta, double* y)
{
    detail::csrmv<double>("MKL_DCSRMV", *transa, descriptor,
                          {m, k, alpha, beta, {values, columns, rowStarts, rowEnds}, x, y});
}

void mkl_zcsrmv(const char* transa, const int& m, const int& k, const std::complex<double>& alpha,
                const char* descriptor, const std::complex<double>* values, const int* columns,
                const int* rowStarts, const int* rowEnds, const std::complex<double>* x,
                const std::complex<double>& beta, std::complex<double>* y)
{
    detail::csrmv<std::complex<double>>("MKL_ZCSRMV", *transa, descriptor,
                                        {m, k, alpha, beta, {values, columns, rowStarts, rowEnds}, x, y});
}

} // namespace Velmar::Lintrix
