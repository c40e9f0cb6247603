// Reading and writing of every form under a memory that refuses each request in turn: nothing is left behind,
// and the failure is one of memory.

#include "tests/files/files_support.h"
#include "tests/support/refused_memory.h"

#include <filesystem>
#include <functional>
#include <iterator>
#include <new>

namespace Velmar::Lintrix::testing {
namespace {

void expectFailureOfMemory()
{
    try {
        throw;
    } catch (const NotEnoughMemoryException&) {
    } catch (const OperationFailedException&) { // a kernel without scratch
    } catch (const std::bad_alloc&) {
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
    }
}

/// @return  requests that it makes
int sweep(const std::function<void()>& operation)
{
    return refuseEachRequest([] { return 0; }, [&](int) { operation(); }, [](int look) { return look; },
                             expectFailureOfMemory);
}

CSparseMatrix hermitian()
{
    CSparseMatrix A(2, true);
    A(0, 0) = 1.0;
    A(0, 1) = Complex(2, 3);
    return A;
}

std::ptrdiff_t openFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(FilesAllocationFailures, OfReading)
{
    const std::ptrdiff_t before = openFiles();
    for (const char* name : {"scipy.rua", "rows.npz", "columns_stored.npz", "rows_first.npy", "array.npz"}) {
        const std::string path = dataFile("../files/data/" + std::string(name));
        EXPECT_GT(sweep([&] { MatrixFileReader(path).ReadSparse(); }), 3) << name;
        EXPECT_GT(sweep([&] { MatrixFileReader(path).ReadComplexDense(); }), 3) << name;
    }
    const Scratch scratch;
    const std::string packed =
        scratch.file("a.rua.gz", compressed(contentOf(dataFile("../files/data/scipy.rua"))));
    EXPECT_GT(sweep([&] { MatrixFileReader(packed).ReadSparse(); }), 3);
    EXPECT_EQ(openFiles(), before);
}

TEST(FilesAllocationFailures, OfWriting)
{
    const CSparseMatrix sparse = hermitian();
    const Matrix dense{{1, 2}, {3, 4}};
    for (const MatrixFileFormat format : {MatrixFileFormat::HarwellBoeing, MatrixFileFormat::RutherfordBoeing,
                                          MatrixFileFormat::NumpyArchive}) {
        EXPECT_GT(sweep([&] { written(format, sparse); }), 2) << NameOf(format);
        EXPECT_TRUE(sparse.Hermitian());
        EXPECT_EQ(sparse.NumElements(), 3);
    }
    EXPECT_GT(sweep([&] { written(MatrixFileFormat::NumpyArray, dense); }), 1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
