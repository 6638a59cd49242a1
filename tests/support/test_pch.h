// Precompiled for every test program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <wx/wx.h>

#include <wx/fileconf.h>
#include <wx/filename.h>
