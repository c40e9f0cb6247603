#pragma once
// Grey pictures as PNG.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

/// A picture row by row, white at start; 0 is black, 255 white.
struct GreyImage {
    GreyImage(int imageWidth, int imageHeight)
        : width(imageWidth), height(imageHeight),
          pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 255)
    {
    }
    bool contains(int x, int y) const { return x >= 0 && x < width && y >= 0 && y < height; }
    std::uint8_t& at(int x, int y)
    {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }

    int width, height;
    std::vector<std::uint8_t> pixels;
};

/// The square of side 2*radius + 1 about a point; what lies outside is left out.
void fillSquare(GreyImage& image, double x, double y, int radius, std::uint8_t grey);
/// A straight line, a pixel a step of the longer direction.
void drawLine(GreyImage& image, double x0, double y0, double x1, double y1, std::uint8_t grey);

/// The bytes of a PNG file. @throws InputError  the encoder failed
std::string encodePng(const GreyImage& image);

} // namespace Velmar::Lintrix::tools
