#pragma once
// A pattern in a file, as SVG or PNG by the file's name.

#include <tools/support/output_file.h>
#include <tools/support/pattern.h>

#include <string>

namespace Velmar::Lintrix::tools {

/// Fields a side of a grid that is meant for a picture.
inline constexpr int kPictureSide = 1024;

/// What is wrong with the name of a picture, in words; nothing when it can be written.
std::string faultOfPlot(const std::string& file);

/// By the name; on standard output, too, a picture is SVG.
bool isSvg(const std::string& file);

/// Writes all of the picture and closes `out`, which was opened as `file`. @throws InputError
void writePicture(const PatternGrid& grid, const std::string& file, OutputFile& out);

} // namespace Velmar::Lintrix::tools
