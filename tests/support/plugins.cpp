#include "support/plugins.h"

#include "support/log_recorder.h"

namespace velm::test {

wxString InstallPlugin(TempDirectory const & directory, wxString const & plugin, wxString const & copy)
{
    std::string const library = ReadFile(VELM_TEST_PLUGIN_DIRECTORY "/" + plugin + ".so");
    return directory.Write(copy + ".so", library);
}

DriverManagerScope::DriverManagerScope(std::initializer_list<char const *> plugins)
{
    for (char const * plugin : plugins) {
        InstallPlugin(_directory, plugin, plugin);
    }
    LogRecorder const progress;
    VELM_DriverManager::CreateInstance(_directory.GetPath(), plugin_entry);
}

} // namespace velm::test
