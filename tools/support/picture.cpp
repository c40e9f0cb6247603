#include <tools/support/picture.h>

#include <tools/support/text.h>

namespace Velmar::Lintrix::tools {

std::string faultOfPlot(const std::string& file)
{
    if (file.ends_with(".png") || file.ends_with(".svg")) return {};
    return inQuotes(file) + " ends neither in .png nor in .svg";
}

void writePicture(const PatternGrid& grid, const std::string& file, OutputFile& out)
{
    out.write(file.ends_with(".svg") ? asSvg(grid) : asPng(grid));
    out.close();
}

} // namespace Velmar::Lintrix::tools
