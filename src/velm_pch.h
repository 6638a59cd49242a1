// Precompiled for every source of the library: what changes rarely and costs much to parse.
#include <memory>
#include <string>
#include <vector>

#include <wx/wx.h>

#include <wx/dir.h>
#include <wx/fileconf.h>
#include <wx/filename.h>
