#include <tools/support/picture.h>

#include <tools/support/text.h>

namespace Velmar::Lintrix::tools {

std::string faultOfPlot(const std::string& file)
{
    if (file.ends_with(".png") || file.ends_with(".svg") || file == kStandardOutput) return {};
    if (file.empty()) return faultOfName(file);
    return inQuotes(file) + " ends neither in .png nor in .svg";
}

bool isSvg(const std::string& file)
{
    return !file.ends_with(".png");
}

void writePicture(const PatternGrid& grid, const std::string& file, OutputFile& out)
{
    out.write(isSvg(file) ? asSvg(grid) : asPng(grid));
    out.close();
}

} // namespace Velmar::Lintrix::tools
