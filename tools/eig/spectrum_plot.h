#pragma once
// Eigenvalues as points of the complex plane.

#include <complex>
#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

/// The part of the plane that is drawn, with one scale for both directions: all finite values and zero, and
/// some room around them. Values that are not finite have no place.
class SpectrumPlot {
public:
    explicit SpectrumPlot(const std::vector<std::complex<double>>& values);

    const std::vector<std::complex<double>>& points() const noexcept { return points_; }
    std::complex<double> centre() const noexcept { return centre_; }
    /// Half of the smaller side of what is drawn.
    double radius() const noexcept { return radius_; }

private:
    std::vector<std::complex<double>> points_;
    std::complex<double> centre_;
    double radius_ = 1.0;
};

/// With the axes through zero, and numbers at their ends.
std::string asSvg(const SpectrumPlot& plot);
/// A frame, the axes, the points. @throws InputError  the encoder failed
std::string asPng(const SpectrumPlot& plot);

} // namespace Velmar::Lintrix::tools
