#include <tools/eig/spectrum_plot.h>

#include <tools/support/png_image.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kWidth = 640, kHeight = 480, kMargin = 50; // pixels, and units of the SVG
constexpr double kHalfWidth = kWidth / 2.0 - kMargin, kHalfHeight = kHeight / 2.0 - kMargin;
constexpr double kRoom = 1.1; // what is drawn, relative to what is needed

double across(const SpectrumPlot& plot, double real)
{
    return kWidth / 2.0 + (real - plot.centre().real()) / plot.radius() * kHalfHeight;
}
double down(const SpectrumPlot& plot, double imaginary)
{
    return kHeight / 2.0 - (imaginary - plot.centre().imag()) / plot.radius() * kHalfHeight;
}

bool isFinite(const std::complex<double>& z)
{
    return std::isfinite(z.real()) && std::isfinite(z.imag());
}

std::string lineText(double x0, double y0, double x1, double y1)
{
    return fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"#aaa\"/>\n",
                       x0, y0, x1, y1);
}

std::string label(double x, double y, const char* anchor, const std::string& text)
{
    return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", x, y, anchor, text);
}

} // namespace

// Halves are taken before sums, so that the ends of the range do not overflow.
SpectrumPlot::SpectrumPlot(const std::vector<std::complex<double>>& values)
{
    double left = 0.0, right = 0.0, low = 0.0, high = 0.0;
    for (const std::complex<double>& value : values) {
        if (!isFinite(value)) continue;
        points_.push_back(value);
        left = std::min(left, value.real());
        right = std::max(right, value.real());
        low = std::min(low, value.imag());
        high = std::max(high, value.imag());
    }
    centre_ = {left / 2 + right / 2, low / 2 + high / 2};
    const double needed = std::max((right / 2 - left / 2) / kHalfWidth * kHalfHeight, high / 2 - low / 2);
    if (needed > 0.0 && std::isfinite(needed * kRoom)) radius_ = needed * kRoom;
}

std::string asSvg(const SpectrumPlot& plot)
{
    std::string text = fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {} {}\" "
                                   "font-family=\"sans-serif\" font-size=\"11\">\n"
                                   "<title>{} eigenvalues in the complex plane</title>\n"
                                   "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
                                   kWidth, kHeight, plot.points().size());
    const double x = across(plot, 0.0), y = down(plot, 0.0);
    const double halfWide = plot.radius() / kHalfHeight * kHalfWidth;
    text += lineText(kMargin, y, kWidth - kMargin, y) + lineText(x, kMargin, x, kHeight - kMargin);
    text += label(kMargin, y - 5, "start", numberInWords(plot.centre().real() - halfWide, "{:.3g}"));
    text += label(kWidth - kMargin, y - 5, "end", numberInWords(plot.centre().real() + halfWide, "{:.3g}"));
    text += label(x + 5, kMargin, "start", numberInWords(plot.centre().imag() + plot.radius(), "{:.3g}i"));
    text += label(x + 5, kHeight - kMargin, "start",
                  numberInWords(plot.centre().imag() - plot.radius(), "{:.3g}i"));
    for (const std::complex<double>& point : plot.points()) {
        text += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3\" fill-opacity=\"0.6\"/>\n",
                            across(plot, point.real()), down(plot, point.imag()));
    }
    return text + "</svg>\n";
}

std::string asPng(const SpectrumPlot& plot)
{
    constexpr std::uint8_t kBlack = 0, kPale = 170;
    GreyImage image(kWidth, kHeight);
    const double x = across(plot, 0.0), y = down(plot, 0.0);
    drawLine(image, kMargin, y, kWidth - kMargin, y, kPale);
    drawLine(image, x, kMargin, x, kHeight - kMargin, kPale);
    for (const std::complex<double>& point : plot.points()) {
        fillSquare(image, across(plot, point.real()), down(plot, point.imag()), 2, kBlack);
    }
    return encodePng(image);
}

} // namespace Velmar::Lintrix::tools
