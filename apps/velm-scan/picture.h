#ifndef VELM_SCAN_PICTURE_H
#define VELM_SCAN_PICTURE_H

#include <cairo.h>
#include <memory>
#include <stdexcept>
#include <wx/string.h>

namespace velm::scan {

// What ends a command that draws; the text is for the program's user.
std::runtime_error Failure(wxString const & text);

// Pixels of 32 bits, 0x00RRGGBB.
using Picture = std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)>;

// A black picture. Throws a failure when it can't be made, such as for a side of more than 32767 pixels.
Picture MakePicture(int width, int height);

// Writes a PNG file. Throws a failure.
void WritePicture(Picture const & picture, wxString const & file);

} // namespace velm::scan

#endif
