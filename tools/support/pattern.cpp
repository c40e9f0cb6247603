#include <tools/support/pattern.h>

#include <tools/support/png_image.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::string_view kShades = " .:+*#@";
constexpr int kSmallestPicture = 512; // pixels of the longer side

/// From empty to full, and a field with a single entry is never empty.
char shadeCharacter(double shade)
{
    const auto last = static_cast<double>(kShades.size() - 1);
    return kShades[static_cast<std::size_t>(std::ceil(shade * last))];
}

/// 255 is white; a field with a single entry is visibly grey.
std::uint8_t greyLevel(double shade)
{
    return static_cast<std::uint8_t>(shade == 0.0 ? 255.0 : std::round(170.0 * (1.0 - shade)));
}

template <class Visit>
void forEachField(const PatternGrid& grid, Visit visit)
{
    for (int i = 0; i < grid.height(); ++i) {
        for (int j = 0; j < grid.width(); ++j) visit(i, j, grid.shade(i, j));
    }
}

} // namespace

PatternGrid::PatternGrid(std::int32_t rows, std::int32_t cols, int height, int width)
    : rows_(rows), cols_(cols), height_(std::min(rows, height)), width_(std::min(cols, width)),
      counts_(static_cast<std::size_t>(height_) * static_cast<std::size_t>(width_))
{
}

double PatternGrid::shade(int i, int j) const
{
    const auto at =
        static_cast<std::size_t>(i) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(j);
    return fullest_ == 0 ? 0.0 : std::sqrt(static_cast<double>(counts_[at]) / fullest_);
}

std::string asSketch(const PatternGrid& grid)
{
    const std::string edge = fmt::format("+{:-<{}}+\n", "", grid.width());
    std::string text = edge;
    forEachField(grid, [&](int, int j, double shade) {
        if (j == 0) text += '|';
        text += shadeCharacter(shade);
        if (j + 1 == grid.width()) text += "|\n";
    });
    return text + edge;
}

std::string asSvg(const PatternGrid& grid)
{
    std::string text =
        fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"-1 -1 {} {}\" "
                    "shape-rendering=\"crispEdges\">\n"
                    "<title>{} x {} matrix</title>\n"
                    "<rect x=\"-1\" y=\"-1\" width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
                    grid.width() + 2, grid.height() + 2, grid.rows(), grid.cols());
    forEachField(grid, [&](int i, int j, double shade) {
        if (shade == 0.0) return;
        const int level = greyLevel(shade);
        text +=
            fmt::format("<rect x=\"{}\" y=\"{}\" width=\"1\" height=\"1\" fill=\"#{:02x}{:02x}{:02x}\"/>\n",
                        j, i, level, level, level);
    });
    return text + "</svg>\n";
}

std::string asPng(const PatternGrid& grid)
{
    const int longer = std::max(grid.height(), grid.width());
    const int scale = (kSmallestPicture + longer - 1) / longer;
    GreyImage image(grid.width() * scale, grid.height() * scale);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) image.at(x, y) = greyLevel(grid.shade(y / scale, x / scale));
    }
    return encodePng(image);
}

} // namespace Velmar::Lintrix::tools
