// NumPy's arrays and archives: files that NumPy 1.24 and SciPy 1.10 wrote, faults with their place, and round
// trips.

#include "tests/files/files_support.h"
#include "tests/support/expect_failure.h"

#include <lintrix/files/detail/zip_archive.h>

#include <cmath>
#include <fstream>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

std::string form(const std::string& name)
{
    return dataFile("../files/data/" + name);
}

std::string npy(const std::string& head, const std::string& elements, int version = 1)
{
    std::string text = std::string("\x93NUMPY") + static_cast<char>(version) + '\0';
    text += static_cast<char>(head.size() & 255);
    text += static_cast<char>(head.size() >> 8);
    if (version > 1) text += std::string(2, '\0');
    return text + head + elements;
}
template <class Number>
std::string raw(std::initializer_list<Number> numbers)
{
    return {reinterpret_cast<const char*>(std::data(numbers)), numbers.size() * sizeof(Number)};
}

TEST(NumpyArray, FilesOfNumPy)
{
    EXPECT_EQ(MatrixFileReader(form("rows_first.npy")).ReadDense(), (Matrix{{1, 2, 3}, {4, 5, 6}}));
    MatrixFileReader big(form("columns_first_big.npy"));
    EXPECT_EQ(big.Format(), MatrixFileFormat::NumpyArray);
    EXPECT_EQ(big.Header().field, MatrixMarketField::ComplexNumber);
    EXPECT_EQ(big.Header().form, MatrixMarketForm::Array);
    EXPECT_EQ(big.ReadComplexDense(), (CMatrix{{Complex(1, 1), 2}, {3, Complex(4, -2)}}));
    MatrixFileReader vector(form("vector_i2.npy"));
    EXPECT_EQ(vector.Header().field, MatrixMarketField::Integer);
    EXPECT_EQ(vector.ReadDense(), (Matrix{{-3}, {7}, {32767}}));
    EXPECT_EQ(MatrixFileReader(form("single_bool.npy")).ReadDense(), Matrix(1, 1, 1.0));
    EXPECT_EQ(MatrixFileReader(form("version3.npy")).ReadDense(), (Matrix{{1, 0x1p63}}));
    EXPECT_EQ(MatrixFileReader(form("version2.npy")).ReadComplexDense(), CMatrix(1, 1, Complex(1.5)));
    EXPECT_EQ(MatrixFileReader(form("rows_first.npy")).ReadSparse()(1, 2), 6.0);
}

TEST(NumpyArray, WhatIsNotFiniteIsRefusedUnlessItIsWanted)
{
    MatrixFileReader strict(form("floats.npy"));
    try {
        strict.ReadDense();
        ADD_FAILURE();
    } catch (const FileFormatException& fault) {
        EXPECT_THAT(fault.what(), EndsWith("floats.npy: byte 144: entry (1, 2) is not a finite number"));
    }
    MatrixFileReader reader(form("floats.npy"));
    reader.AcceptNonFinite();
    const Matrix A = reader.ReadDense();
    EXPECT_EQ(A(0, 0), static_cast<double>(0.1F));
    EXPECT_EQ(A(0, 1), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(A(1, 0)));
    EXPECT_TRUE(std::signbit(A(1, 1)) && A(1, 1) == 0.0);
}

TEST(NumpyArchive, FilesOfSciPy)
{
    const Matrix expected{{4, 0, -1.5, 0}, {0, 0, 0, 0}, {2, 1e-300, 0, 3}};
    for (const char* name : {"rows.npz", "columns_stored.npz"}) {
        MatrixFileReader reader(form(name));
        EXPECT_EQ(reader.Format(), MatrixFileFormat::NumpyArchive);
        EXPECT_EQ(reader.Header().stored, 5);
        const SparseMatrix A = reader.ReadSparse();
        EXPECT_EQ(A.ToDense(), expected) << name;
        EXPECT_EQ(A.NumElements(), 5) << name;
    }
    const CSparseMatrix Z = MatrixFileReader(form("entries_complex.npz")).ReadComplexSparse();
    EXPECT_EQ(Z.Cols(), 5);
    EXPECT_EQ(Z.NumElements(), 3);
    EXPECT_EQ(Z(0, 0), Complex(2, 2)) << "entries at one place are added up";
    EXPECT_EQ(Z(2, 3), Complex(0, -1));
    EXPECT_EQ(MatrixFileReader(form("array.npz")).ReadDense(), (Matrix{{1, 2}, {3, 4}}));
    try {
        MatrixFileReader reader(form("several.npz"));
        ADD_FAILURE();
    } catch (const FileFormatException& fault) {
        EXPECT_THAT(
            fault.what(),
            EndsWith(
                "several.npz: the archive holds several arrays, 'A.npy', 'b.npy', and no sparse matrix"));
    }
}

TEST(HarwellBoeingOfSciPy, IsRead)
{
    const SparseMatrix A = MatrixFileReader(form("scipy.rua")).ReadSparse();
    EXPECT_EQ(A.ToDense(), (Matrix{{4, 0, -1.5}, {0, 1.0 / 3.0, 0}, {2, 1e-300, 3}}));
}

TEST(NumpyArray, HeadsInEveryNotation)
{
    const std::string two = raw({1.5, -2.0});
    for (const char* head : {"{'descr': '<f8', 'fortran_order': False, 'shape': (2,), }",
                             "{\"shape\":(2,),\"descr\":\"<f8\",\"fortran_order\":True}\n",
                             "{'descr': '=f8', 'fortran_order': False, 'shape': (2L, 1L)}   \n",
                             "{ 'descr' : '<f8' , 'fortran_order' : True , 'shape' : ( 2 , 1 ) }"}) {
        std::istringstream in(npy(head, two));
        EXPECT_EQ(MatrixFileReader(in).ReadDense(), (Matrix{{1.5}, {-2}})) << head;
    }
    std::istringstream late(npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 2)}", two, 3));
    EXPECT_EQ(MatrixFileReader(late).ReadDense(), (Matrix{{1.5, -2}}));
    std::istringstream packed(
        compressed(npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 2)}", two)));
    EXPECT_EQ(MatrixFileReader(packed, "x.npy.gz").ReadDense(), (Matrix{{1.5, -2}}));
    std::istringstream single(
        npy("{'descr': '<i8', 'fortran_order': False, 'shape': ()}", raw<std::int64_t>({-5})));
    EXPECT_EQ(MatrixFileReader(single).ReadDense()(0, 0), -5.0);
}

TEST(NumpyArray, FaultsNameTheirByte)
{
    const std::string good = "{'descr': '<f8', 'fortran_order': False, 'shape': (1, 2), }";
    const std::string two = raw({1.5, -2.0});
    const auto with = [&](const std::string& old, const std::string& fresh) {
        std::string head = good;
        head.replace(head.find(old), old.size(), fresh);
        return faultOf(npy(head, two), "x.npy");
    };
    EXPECT_EQ(with("<f8", "<f2"), "x.npy: byte 69: elements of type '<f2' are not read");
    EXPECT_THAT(with("<f8", "|O"), HasSubstr("elements of type '|O' are not read"));
    EXPECT_THAT(with("<f8", "<U3"), HasSubstr("an array of texts is no matrix"));
    EXPECT_THAT(with("'<f8'", "[('a', '<f8')]"), HasSubstr("an array of records is no matrix"));
    EXPECT_THAT(with("(1, 2)", "(1, 2, 1)"), HasSubstr("an array of 3 dimensions is no matrix"));
    EXPECT_THAT(with("(1, 2)", "(0, 2)"), HasSubstr("rows and columns must be at least 1, not 0 x 2"));
    EXPECT_THAT(with("(1, 2)", "(1, -2)"), HasSubstr("the shape is no tuple of whole numbers"));
    EXPECT_THAT(with("(1, 2)", "(99999999999999999999,)"),
                HasSubstr("the shape is no tuple of whole numbers"));
    EXPECT_THAT(with("'shape'", "'shave'"), HasSubstr("the key 'shave' of the head is not known"));
    EXPECT_THAT(with("False", "Maybe"), HasSubstr("neither True nor False"));
    EXPECT_THAT(with("'descr': '<f8', ", ""), HasSubstr("the head needs descr, fortran_order and shape"));
    EXPECT_EQ(faultOf(npy(good, two + "x"), "x.npy"), "x.npy: byte 85: something follows the array");
    EXPECT_EQ(faultOf(npy(good, two.substr(0, 15)), "x.npy"),
              "x.npy: byte 84: the file ends before all elements are there");
    EXPECT_EQ(faultOf(npy(good, two, 4), "x.npy"), "x.npy: byte 6: version 4.0 of the form is not known");
    EXPECT_THAT(faultOf("\x93NUMPY", "x.npy"), HasSubstr("the file ends before its head"));
    EXPECT_EQ(faultOf("something else", "x.npy"), "x.npy: byte 0: a NumPy array begins with '\\x93NUMPY'");
    const Scratch scratch;
    const std::string path =
        scratch.file("x.npy", npy("{'descr': '<f8', 'fortran_order': False, 'shape': (40000, 50000)}", two));
    try {
        MatrixFileReader reader(path);
        ADD_FAILURE() << "the shape is believed";
    } catch (const FileFormatException& fault) {
        EXPECT_THAT(fault.what(), HasSubstr("an array of 2000000000 elements is announced, but a file of "
                                            "this length does not hold them"));
    }
}

TEST(NumpyArchive, FaultsOfArchives)
{
    const std::string good = contentOf(form("rows.npz"));
    const auto changed = [&](std::size_t at, char fresh) {
        std::string text = good;
        text[at] = fresh;
        return faultOf(text, "a.npz");
    };
    EXPECT_THAT(faultOf(compressed(good), "a.npz.gz"),
                HasSubstr("a.npz.gz: an archive is packed already, and not read from gzip"));
    EXPECT_THAT(faultOf(good.substr(0, good.size() - 30), "a.npz"),
                HasSubstr("the archive has no directory at its end"));
    EXPECT_THAT(faultOf("PK\x03\x04", "a.npz"), HasSubstr("the archive has no directory"));
    EXPECT_THAT(faultOf(std::string("PK\x05\x06") + std::string(18, '\0'), "a.npz"),
                HasSubstr("the archive holds no array"));
    const std::size_t data = good.find("data.npy");
    EXPECT_NE(changed(data + 40, '\x7f'), "no fault") << "damaged bytes are told";
    const std::size_t directory = good.find("PK\x01\x02");
    EXPECT_THAT(changed(directory + 10, '\x0c'), HasSubstr("is packed in a way that is not known"));
    EXPECT_THAT(changed(directory + 8, '\x01'), HasSubstr("is encrypted"));
    EXPECT_THAT(changed(directory + 24 + 3, '\x7f'), HasSubstr("announced"));
    EXPECT_THAT(changed(directory + 42 + 2, '\x7f'), HasSubstr("the archive ends too early"));
    EXPECT_THAT(changed(directory + 46, '\x9b'), HasSubstr("no member 'indices.npy'"));
    // Of two members of one name readers would take either.
    std::string twice = good;
    twice.replace(good.find("indptr.npy", directory), 10, "format.npy");
    EXPECT_EQ(faultOf(twice, "a.npz"), "a.npz: the archive has two members 'format.npy'");
}

TEST(NumpyArchive, NothingFollowsTheValues)
{
    const auto archive = [](const std::string& behind) {
        const std::string ones = raw<std::int32_t>({0, 1});
        std::string text;
        detail::ZipWriter writer([&text](std::string_view bytes) { text += bytes; });
        const auto add = [&writer](const std::string& name, const std::string& content) {
            writer.add(name, [&content](const detail::ZipWriter::Sink& member) { member(content); });
        };
        const std::string places = "{'descr': '<i4', 'fortran_order': False, 'shape': (2,)}";
        add("format.npy", npy("{'descr': '|S3', 'fortran_order': False, 'shape': ()}", "coo"));
        add("shape.npy", npy(places, raw<std::int32_t>({2, 2})));
        add("row.npy", npy(places, ones));
        add("col.npy", npy(places, ones));
        add("data.npy",
            npy("{'descr': '<f8', 'fortran_order': False, 'shape': (2,)}", raw({4.0, 5.0}) + behind));
        writer.finish();
        return text;
    };
    EXPECT_EQ(readSparse(archive(""), "a.npz").ToDense(), (Matrix{{4, 0}, {0, 5}}));
    EXPECT_EQ(faultOf(archive("x"), "a.npz"), "a.npz: data.npy: byte 81: something follows the array");
}

double anyDouble(std::mt19937_64& generator)
{
    return std::bit_cast<double>(generator());
}

TEST(Numpy, WhatIsWrittenComesBackBitByBit)
{
    std::mt19937_64 generator(9);
    std::uniform_int_distribution<int> size(1, 30);
    for (int round = 0; round < 100; ++round) {
        Matrix A(size(generator), size(generator));
        CMatrix Z(size(generator), size(generator));
        for (double& cell : A) cell = anyDouble(generator); // NaN and infinities among them
        for (Complex& cell : Z) cell = {anyDouble(generator), anyDouble(generator)};
        for (const MatrixFileFormat format : {MatrixFileFormat::NumpyArray, MatrixFileFormat::NumpyArchive}) {
            std::istringstream real(written(format, A)), complex(written(format, Z));
            MatrixFileReader reader(real), other(complex);
            reader.AcceptNonFinite();
            other.AcceptNonFinite();
            EXPECT_EQ(bitsOfDense(reader.ReadDense()), bitsOfDense(A));
            EXPECT_EQ(bitsOfDense(other.ReadComplexDense()), bitsOfDense(Z));
        }
        SparseMatrix S(size(generator), size(generator));
        for (int k = 0; k < 40; ++k)
            S(size(generator) % S.Rows(), size(generator) % S.Cols()) = anyDouble(generator);
        std::istringstream sparse(written(MatrixFileFormat::NumpyArchive, S));
        MatrixFileReader third(sparse);
        third.AcceptNonFinite();
        EXPECT_EQ(bitsOf(third.ReadSparse()), bitsOf(S));
    }
}

TEST(Numpy, AMatrixWithoutCellsIsNotWritten)
{
    Matrix given{{1, 2}};
    const Matrix taken = std::move(given);
    for (const MatrixFileFormat format : {MatrixFileFormat::NumpyArray, MatrixFileFormat::NumpyArchive}) {
        EXPECT_THROW(written(format, given), InvalidSizeException);
        EXPECT_NO_THROW(written(format, taken));
    }
}

TEST(Numpy, OneTriangleIsWrittenAsBoth)
{
    CSparseMatrix H(2, true);
    H(0, 0) = 1.0;
    H(0, 1) = Complex(2, 3);
    std::istringstream in(written(MatrixFileFormat::NumpyArchive, H));
    const CSparseMatrix back = MatrixFileReader(in).ReadComplexSparse();
    EXPECT_FALSE(back.Hermitian());
    EXPECT_EQ(back(0, 1), Complex(2, 3));
    EXPECT_EQ(back(1, 0), Complex(2, -3));
    EXPECT_EQ(back.NumElements(), 4) << "the whole diagonal is stored";
    const SparseMatrix none(3, 2);
    std::istringstream empty(written(MatrixFileFormat::NumpyArchive, none));
    EXPECT_EQ(MatrixFileReader(empty).ReadSparse().NumElements(), 0);
}

TEST(MatrixFile, NamesSayTheForm)
{
    using F = MatrixFileFormat;
    EXPECT_EQ(FormatOfName("a/b.c/x.mtx"), F::MatrixMarket);
    EXPECT_EQ(FormatOfName("x.MTX.gz"), F::MatrixMarket);
    EXPECT_EQ(FormatOfName("x.rua"), F::HarwellBoeing);
    EXPECT_EQ(FormatOfName("x.PSA"), F::HarwellBoeing);
    EXPECT_EQ(FormatOfName("x.rse"), F::HarwellBoeing);
    EXPECT_EQ(FormatOfName("x.rb"), F::RutherfordBoeing);
    EXPECT_EQ(FormatOfName("x.npy"), F::NumpyArray);
    EXPECT_EQ(FormatOfName("x.npz"), F::NumpyArchive);
    EXPECT_EQ(FormatOfName("x.txt"), std::nullopt);
    EXPECT_EQ(FormatOfName("npz"), std::nullopt);
    EXPECT_EQ(FormatOfName(""), std::nullopt);
}

TEST(MatrixFile, MatrixMarketIsReadAndWrittenThroughIt)
{
    const Scratch scratch;
    const SparseMatrix A = MatrixFileReader(dataFile("bcsstk04.mtx")).ReadSparse();
    EXPECT_EQ(bitsOf(A), bitsOf(ReadMatrixMarket(dataFile("bcsstk04.mtx"))));
    for (const char* name : {"a.mtx", "a.mtx.gz", "a.rsa", "a.rsa.gz", "a.rb", "a.npz"}) {
        const std::string path = scratch.at(name);
        WriteMatrixFile(path, A);
        const SparseMatrix B = MatrixFileReader(path).ReadSparse();
        EXPECT_EQ(B.Symmetric(), std::string(name) != "a.npz");
        EXPECT_EQ(bitsOfDense(B.ToDense()), bitsOfDense(A.ToDense())) << name;
    }
    std::istringstream text("x\n");
    try {
        MatrixFileReader reader(text, "a.mtx");
        ADD_FAILURE();
    } catch (const FileFormatException& fault) {
        EXPECT_STREQ(fault.what(),
                     "a.mtx:1: a Matrix Market file begins with '%%MatrixMarket', not with 'x'");
    }
    expectFailure<ArgumentException>([&] { WriteMatrixFile(scratch.at("a.txt"), A); },
                                     "The name " + ("'" + scratch.at("a.txt")).substr(0, 41) +
                                         (scratch.at("a.txt").size() > 40 ? "...'" : "'") +
                                         " does not say in which form to write");
    expectFailure<NotSupportedException>([&] { WriteMatrixFile(scratch.at("a.npy"), A); },
                                         "NumPy array files hold dense matrices");
    EXPECT_FALSE(std::ifstream(scratch.at("a.npy")).good()) << "nothing is opened before the checks";
}

} // namespace
} // namespace Velmar::Lintrix::testing
