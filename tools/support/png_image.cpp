#include <tools/support/png_image.h>

#include <tools/support/input_error.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include <png.h>

namespace Velmar::Lintrix::tools {

void fillSquare(GreyImage& image, double x, double y, int radius, std::uint8_t grey)
{
    const int left = static_cast<int>(std::lround(x)), top = static_cast<int>(std::lround(y));
    for (int j = top - radius; j <= top + radius; ++j) {
        for (int i = left - radius; i <= left + radius; ++i) {
            if (image.contains(i, j)) image.at(i, j) = grey;
        }
    }
}

void drawLine(GreyImage& image, double x0, double y0, double x1, double y1, std::uint8_t grey)
{
    const int steps =
        std::max(1, static_cast<int>(std::ceil(std::max(std::abs(x1 - x0), std::abs(y1 - y0)))));
    for (int i = 0; i <= steps; ++i) {
        const double t = static_cast<double>(i) / steps;
        fillSquare(image, x0 + t * (x1 - x0), y0 + t * (y1 - y0), 0, grey);
    }
}

std::string encodePng(const GreyImage& image)
{
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.width);
    header.height = static_cast<png_uint_32>(image.height);
    header.format = PNG_FORMAT_GRAY;
    png_alloc_size_t length = 0;
    std::string file;
    const auto write = [&](void* to) {
        return png_image_write_to_memory(&header, to, &length, 0, image.pixels.data(), 0, nullptr) != 0;
    };
    bool done = write(nullptr);
    if (done) {
        file.resize(length);
        done = write(file.data());
    }
    if (!done) throw InputError(fmt::format("the picture cannot be encoded: {}", header.message));
    file.resize(length);
    return file;
}

} // namespace Velmar::Lintrix::tools
