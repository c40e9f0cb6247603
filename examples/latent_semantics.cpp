// Latent semantic analysis: which documents are about the same, even if they share no word?
//
// Column j of A counts the terms of document j. In the best approximation of rank k, A = U*S*V', documents
// are points with k coordinates S*V'(:,j): terms that are used together have become one direction. A question
// becomes a point by U'*q, and the cosine tells how near a document is to it. Source: Deerwester, Dumais,
// Furnas, Landauer, Harshman, J. of the American Society for Information Science 41 (1990).
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <lintrix/lintrix.h>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

struct Document {
    char mark;
    const char* title;
    std::vector<std::string> terms;
};

const std::vector<Document> documents{
    {'a', "Planets in a small telescope", {"planet", "telescope", "star", "moon"}},
    {'b', "The orbits of the planets", {"planet", "orbit", "sun"}},
    {'c', "A comet near the sun", {"comet", "orbit", "sun", "star"}},
    {'d', "How the moon moves", {"moon", "orbit", "planet"}},
    {'e', "A first bread", {"bread", "dough", "flour", "yeast", "oven"}},
    {'f', "Working with dough", {"dough", "flour", "butter", "yeast"}},
    {'g', "Cakes", {"butter", "flour", "oven", "sugar"}},
    {'h', "What an oven does", {"oven", "bread", "sugar"}},
    {'i', "Steering by the stars", {"star", "boat", "wind"}},
    {'j', "The moon and the tides", {"moon", "water", "boat"}},
    {'k', "Bread on board", {"boat", "bread", "oven", "water"}},
};

std::vector<std::string> allTerms()
{
    std::vector<std::string> terms;
    for (const Document& document : documents)
        terms.insert(terms.end(), document.terms.begin(), document.terms.end());
    std::sort(terms.begin(), terms.end());
    terms.erase(std::unique(terms.begin(), terms.end()), terms.end());
    return terms;
}

int rowOf(const std::vector<std::string>& terms, const std::string& term)
{
    return static_cast<int>(std::lower_bound(terms.begin(), terms.end(), term) - terms.begin());
}

double cosine(const Matrix& x, int i, const Matrix& y, int j)
{
    double xy = 0.0, xx = 0.0, yy = 0.0;
    for (int r = 0; r < x.Rows(); ++r) {
        xy += x(r, i) * y(r, j);
        xx += x(r, i) * x(r, i);
        yy += y(r, j) * y(r, j);
    }
    return xy / std::sqrt(xx * yy);
}

// The first coordinate of each point to the right, the second upwards. A mark whose place is taken moves
// right.
void plot(const Matrix& points)
{
    const int height = 17, width = 64;
    std::vector<std::string> picture(height, std::string(width, ' '));
    for (std::string& line : picture) line[0] = '|';
    picture[height / 2] = std::string(width, '-');
    for (int j = 0; j < points.Cols(); ++j) {
        int x = static_cast<int>(std::lround(points(0, j) / 2.3 * (width - 1)));
        const int y = static_cast<int>(std::lround(points(1, j) / 1.8 * (height / 2)));
        std::string& line = picture[height / 2 - y];
        while (std::isalpha(static_cast<unsigned char>(line[x]))) ++x;
        line[x] = documents[j].mark;
    }
    for (const std::string& line : picture) std::printf("  %s\n", line.c_str());
}

} // namespace

int main()
{
    const std::vector<std::string> terms = allTerms();
    const int count = static_cast<int>(documents.size());
    SparseAssembler entries(static_cast<int>(terms.size()), count);
    for (int j = 0; j < count; ++j) {
        for (const std::string& term : documents[j].terms) entries.Add(rowOf(terms, term), j, 1.0);
    }
    const SparseMatrix A = entries.Assemble();

    const SparseSVD svd(A, 2, 1e-8);
    std::printf("%d terms, %d documents; singular values %.3f, %.3f\n\n", A.Rows(), A.Cols(), svd.S()[0],
                svd.S()[1]);

    // Points of the documents and of the question. The sign of a singular vector is free: here document a has
    // positive coordinates.
    Matrix points(2, count), question(2, 1);
    const int asked = rowOf(terms, "comet");
    for (int i = 0; i < 2; ++i) {
        const double sign = svd.V()(0, i) < 0.0 ? -1.0 : 1.0;
        for (int j = 0; j < count; ++j) points(i, j) = sign * svd.S()[i] * svd.V()(j, i);
        question(i, 0) = sign * svd.U()(asked, i);
    }
    plot(points);

    std::printf("\nHow near to a question about a \"comet\":\n");
    for (int j = 0; j < count; ++j) {
        const auto& words = documents[j].terms;
        std::printf("  %c  %5.2f  %-30s%s\n", documents[j].mark, cosine(points, j, question, 0),
                    documents[j].title,
                    std::find(words.begin(), words.end(), "comet") != words.end() ? "has the word" : "");
    }
}
