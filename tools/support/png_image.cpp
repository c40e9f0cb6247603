#include <tools/support/png_image.h>

#include <tools/support/input_error.h>

#include <fmt/format.h>

#include <png.h>

namespace Velmar::Lintrix::tools {

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
