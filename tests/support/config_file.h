#ifndef TESTS_SUPPORT_CONFIG_FILE_H
#define TESTS_SUPPORT_CONFIG_FILE_H

#include "support/temp_directory.h"
#include "velm_config.h"

namespace velm::test {

// A description file in a directory of its own, and what a record writes to it and reads from it.
class ConfigFile {
  public:
    // The file's text after a call that fills a fresh configuration.
    template <typename Fill>
    std::string TextOf(Fill const & fill) const
    {
        if (wxFileExists(_path)) {
            wxRemoveFile(_path);
        }
        {
            config::DescriptionFile file(_path);
            fill(static_cast<wxFileConfig &>(file));
        }
        return wxFileExists(_path) ? ReadFile(_path) : std::string();
    }

    // The result of a call that reads a configuration of the text.
    template <typename Use>
    auto With(std::string const & text, Use const & use) const
    {
        WriteFile(_path, text);
        config::DescriptionFile file(_path);
        return use(static_cast<wxFileConfig &>(file));
    }

    wxString const & GetPath() const { return _path; }

  private:
    TempDirectory _directory;
    wxString _path = _directory / "record.txt";
};

// A configuration that refuses the entry with the given key, or every entry when the key is empty.
class RefusingConfig : public wxFileConfig {
  public:
    explicit RefusingConfig(wxString const & key = wxEmptyString)
        : wxFileConfig(wxEmptyString, wxEmptyString, wxEmptyString, wxEmptyString,
                       wxCONFIG_USE_RELATIVE_PATH),
          _key(key)
    {
    }

  protected:
    bool DoWriteString(wxString const & key, wxString const & value) override
    {
        return !Refuses(key) && wxFileConfig::DoWriteString(key, value);
    }
    bool DoWriteLong(wxString const & key, long value) override
    {
        return !Refuses(key) && wxFileConfig::DoWriteLong(key, value);
    }

  private:
    bool Refuses(wxString const & key) const { return _key.empty() || key == _key; }

    wxString _key;
};

} // namespace velm::test

#endif
