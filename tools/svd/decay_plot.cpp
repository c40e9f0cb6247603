#include <tools/svd/decay_plot.h>

#include <tools/support/png_image.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kMostDecades = 17;
constexpr int kWidth = 640, kHeight = 400, kMargin = 50; // pixels, and units of the SVG

bool hasPlace(double value)
{
    return std::isfinite(value) && value > 0.0;
}

double across(double x)
{
    return kMargin + x * (kWidth - 2 * kMargin);
}
double down(double y)
{
    return kMargin + y * (kHeight - 2 * kMargin);
}

} // namespace

DecayPlot::DecayPlot(const std::vector<double>& values)
    : count_(static_cast<int>(values.size())), largest_(values.empty() ? 0.0 : values.front())
{
    if (!hasPlace(largest_)) return;
    double lowest = 0.0; // logarithm
    for (const double value : values) {
        if (hasPlace(value)) lowest = std::min(lowest, std::log10(value) - std::log10(largest_));
    }
    decades_ = std::clamp(static_cast<int>(std::ceil(-lowest)), 1, kMostDecades);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!hasPlace(values[i])) continue;
        const double y = (std::log10(largest_) - std::log10(values[i])) / decades_;
        points_.push_back({(static_cast<double>(i) + 0.5) / count_, std::clamp(y, 0.0, 1.0)});
    }
}

std::string asSvg(const DecayPlot& plot)
{
    std::string text = fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {} {}\" "
                                   "font-family=\"sans-serif\" font-size=\"11\">\n"
                                   "<title>Decay of {} singular values, the largest {}</title>\n"
                                   "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
                                   kWidth, kHeight, plot.count(), numberInWords(plot.largest(), "{:.6g}"));
    for (int decade = 0; decade <= plot.decades(); ++decade) {
        const double y = down(static_cast<double>(decade) / plot.decades());
        text += fmt::format("<line x1=\"{0}\" x2=\"{1}\" y1=\"{2:.1f}\" y2=\"{2:.1f}\" stroke=\"#ccc\"/>\n"
                            "<text x=\"{3}\" y=\"{4:.1f}\" text-anchor=\"end\">{5}</text>\n",
                            kMargin, kWidth - kMargin, y, kMargin - 6, y + 4,
                            decade == 0 ? "1" : fmt::format("1e-{:02}", decade));
    }
    text += "<polyline fill=\"none\" stroke=\"#888\" points=\"";
    for (const DecayPlot::Point& point : plot.points()) {
        text += fmt::format("{:.1f},{:.1f} ", across(point.x), down(point.y));
    }
    text += "\"/>\n";
    for (const DecayPlot::Point& point : plot.points()) {
        text +=
            fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3\"/>\n", across(point.x), down(point.y));
    }
    return text + fmt::format("<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">singular values 1 to {}, "
                              "relative to the largest</text>\n</svg>\n",
                              kWidth / 2, kHeight - kMargin / 3, plot.count());
}

std::string asPng(const DecayPlot& plot)
{
    constexpr std::uint8_t kBlack = 0, kGrey = 136, kPale = 204;
    GreyImage image(kWidth, kHeight);
    for (int decade = 0; decade <= plot.decades(); ++decade) {
        const double y = down(static_cast<double>(decade) / plot.decades());
        drawLine(image, across(0.0), y, across(1.0), y, kPale);
    }
    drawLine(image, across(0.0), down(0.0), across(0.0), down(1.0), kBlack);
    drawLine(image, across(0.0), down(1.0), across(1.0), down(1.0), kBlack);
    const auto& points = plot.points();
    for (std::size_t i = 1; i < points.size(); ++i) {
        drawLine(image, across(points[i - 1].x), down(points[i - 1].y), across(points[i].x),
                 down(points[i].y), kGrey);
    }
    for (const DecayPlot::Point& point : points) fillSquare(image, across(point.x), down(point.y), 2, kBlack);
    return encodePng(image);
}

} // namespace Velmar::Lintrix::tools
