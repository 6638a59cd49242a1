#ifndef TESTS_SUPPORT_PLUGINS_H
#define TESTS_SUPPORT_PLUGINS_H

#include "support/temp_directory.h"
#include "velm_driver_manager.h"

namespace velm::test {

// The entry symbol of all test plug-ins.
char const * const plugin_entry = "velm_driver_entry";

// Copies the plug-in that the build made under that name into the directory as "<copy>.so"; gives its path.
wxString InstallPlugin(TempDirectory const & directory, wxString const & plugin, wxString const & copy);

// The one driver manager, on a directory with the given plug-ins, for the life of the object.
class DriverManagerScope {
  public:
    explicit DriverManagerScope(std::initializer_list<char const *> plugins);
    ~DriverManagerScope() { VELM_DriverManager::DeleteInstance(); }
    DriverManagerScope(DriverManagerScope const &) = delete;
    DriverManagerScope & operator=(DriverManagerScope const &) = delete;

    VELM_DriverManager * Get() const { return VELM_DriverManager::GetInstance(); }

  private:
    TempDirectory _directory;
};

} // namespace velm::test

#endif
