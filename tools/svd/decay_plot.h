#pragma once
// The decay of singular values as a picture: index to the right, logarithm upwards.

#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

/// Where the values come to lie: beside each other, from 1 (the largest) to a whole power of ten below the
/// smallest, and never lower than 1e-17. Values that are zero or not finite have no place.
class DecayPlot {
public:
    struct Point {
        double x, y; ///< 0 to 1, from the left, from above
    };

    explicit DecayPlot(const std::vector<double>& values);

    const std::vector<Point>& points() const noexcept { return points_; }
    /// Powers of ten that the picture spans, at least 1.
    int decades() const noexcept { return decades_; }
    double largest() const noexcept { return largest_; }
    int count() const noexcept { return count_; }

private:
    std::vector<Point> points_;
    int decades_ = 1, count_;
    double largest_;
};

/// With axes and numbers.
std::string asSvg(const DecayPlot& plot);
/// A frame, a line a decade, the points joined. @throws InputError  the encoder failed
std::string asPng(const DecayPlot& plot);

} // namespace Velmar::Lintrix::tools
