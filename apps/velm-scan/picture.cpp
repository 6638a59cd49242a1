#include "velm-scan/picture.h"

#include <string>

namespace velm::scan {

std::runtime_error Failure(wxString const & text)
{
    return std::runtime_error(text.utf8_string());
}

Picture MakePicture(int width, int height)
{
    Picture picture(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), &cairo_surface_destroy);
    cairo_status_t const status = cairo_surface_status(picture.get());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw Failure(wxString::Format("A picture of %d x %d pixels could not be made: %s.", width, height,
                                       cairo_status_to_string(status)));
    }
    return picture;
}

void WritePicture(Picture const & picture, wxString const & file)
{
    cairo_status_t const status = cairo_surface_write_to_png(picture.get(), file.fn_str());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw Failure("The picture " + file + " could not be written: " + cairo_status_to_string(status) +
                      ".");
    }
}

} // namespace velm::scan
