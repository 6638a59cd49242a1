#ifndef VELM_CONFIG_H
#define VELM_CONFIG_H

// How description files are opened, read and written. Internal to the library.

#include "velm_export.h"
#include "velm_log_macros.h"

#include <optional>
#include <type_traits>
#include <wx/fileconf.h>
#include <wx/string.h>

namespace velm::config {

// Whether "$NAME" in a value is replaced from the environment. Record files keep their texts as they are;
// the installation's own files (ini, profiles, hardware, optics) let their authors use variables.
enum class Expansion { Off, On };

// Whether a file begins with the entries that it has on disk, or with none: then it takes the old one's place
// when it is closed, and not before.
enum class Content { Kept, Replaced };

// A description file, opened by the one convention of all of them: no application, vendor or global file,
// relative group paths unless the style says otherwise. A file that doesn't exist reads as empty. Nothing is
// written before Close or Flush, or, but for a replaced file, destruction.
class VELM_API DescriptionFile : public wxFileConfig {
  public:
    explicit DescriptionFile(wxString const & path, Expansion expansion = Expansion::Off,
                             long style = wxCONFIG_USE_RELATIVE_PATH, Content content = Content::Kept);

    // Writes the text unless it is on disk as it is: true when it is there then. The file on disk is the old
    // one or the new one, and whole, at any time; a replaced file without entries is removed. On failure what
    // was not written is given up, since a file that refused it now would refuse it again at destruction.
    bool Close();

    // The same.
    bool Flush(bool current_only = false) override;

  private:
    wxString _path;
    Content _content;
};

// Steps into a group by a relative path, and back out at the end of the scope.
class GroupScope {
  public:
    GroupScope(wxConfigBase & config, wxString const & group) : _config(config) { _config.SetPath(group); }
    ~GroupScope() { _config.SetPath(".."); }
    GroupScope(GroupScope const &) = delete;
    GroupScope & operator=(GroupScope const &) = delete;

  private:
    wxConfigBase & _config;
};

// The entry at the key, or nothing when it is missing, is not of the type, or does not fit it: numbers are
// read as the widest type and checked before they are narrowed.
template <typename T>
std::optional<T> Read(wxConfigBase const & config, wxString const & key);

template <>
VELM_API std::optional<wxString> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<bool> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<long> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<int> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<unsigned short> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<unsigned long> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<double> Read(wxConfigBase const & config, wxString const & key);
template <>
VELM_API std::optional<float> Read(wxConfigBase const & config, wxString const & key);

// The same with a default in place of nothing.
template <typename T>
T ReadOr(wxConfigBase const & config, wxString const & key, T const & otherwise)
{
    return Read<T>(config, key).value_or(otherwise);
}
VELM_API wxString ReadOr(wxConfigBase const & config, wxString const & key, char const * otherwise);

// Writes the entry; false when the configuration refuses it.
VELM_API bool Write(wxConfigBase & config, wxString const & key, wxString const & value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, char const * value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, bool value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, int value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, long value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, unsigned short value);
VELM_API bool Write(wxConfigBase & config, wxString const & key, unsigned long value);
VELM_API bool Write(wxConfigBase & config, wxString const & key,
                    double value); // six significant digits, C form

// Writes what has changed. A failure shows when the file is closed, to whoever opened it.
VELM_API void Flush(wxConfigBase & config);

// Calls visit(name) for each group at the current path, in the configuration's order, with the path inside
// the group during the call.
template <typename Visit>
void ForEachGroup(wxConfigBase & config, Visit visit)
{
    wxString name;
    long cookie = 0;
    for (bool more = config.GetFirstGroup(name, cookie); more; more = config.GetNextGroup(name, cookie)) {
        GroupScope const scope(config, name);
        visit(name);
    }
}

// The names of all entries at the current path, in the configuration's order: sorted, ignoring case.
VELM_API wxArrayString EntryNames(wxConfigBase const & config);

// Reads the entries of a record that goes on after a bad one, and logs each compulsory entry that is missing
// as "<prefix>Compulsory entry <key> not defined.".
class RecordReader {
  public:
    RecordReader(wxConfigBase const & config, char const * prefix) : _config(config), _prefix(prefix) {}

    // Leaves the value as it is when the entry is missing.
    template <typename T>
    RecordReader & Compulsory(char const * key, T & value)
    {
        return Compulsory(key, value, [](T const &) { return true; });
    }

    // The same for an entry that has to pass a test too: one that doesn't counts as missing.
    template <typename T, typename Fits>
    RecordReader & Compulsory(char const * key, T & value, Fits const & fits)
    {
        if (!Take(key, value, fits)) {
            VELM_LOG_ERROR("%sCompulsory entry %s not defined.", _prefix, key);
        }
        return *this;
    }

    // The same with words of its own for an entry that is missing, behind the prefix.
    template <typename T>
    RecordReader & Required(char const * key, T & value, char const * complaint)
    {
        if (!Take(key, value, [](T const &) { return true; })) {
            VELM_LOG_ERROR("%s%s", _prefix, complaint);
        }
        return *this;
    }

    template <typename T, typename Default>
    RecordReader & Optional(char const * key, T & value, Default const & otherwise)
    {
        value = ReadOr(_config, key, T(otherwise));
        return *this;
    }

    // Whether every compulsory entry was there.
    bool IsOk() const { return _ok; }

  private:
    template <typename T, typename Fits>
    bool Take(char const * key, T & value, Fits const & fits)
    {
        auto const read = Read<T>(_config, key);
        if (!read || !fits(*read)) {
            _ok = false;
            return false;
        }
        value = *read;
        return true;
    }

    wxConfigBase const & _config;
    char const * _prefix;
    bool _ok = true;
};

// Writes the entries of a record that goes on after a refused one, and logs each refusal as
// "<prefix>Entry <key> not saved.".
class RecordWriter {
  public:
    RecordWriter(wxConfigBase & config, char const * prefix) : _config(config), _prefix(prefix) {}

    template <typename T>
    RecordWriter & Entry(char const * key, T const & value)
    {
        if (!Write(_config, key, value)) {
            VELM_LOG_ERROR("%sEntry %s not saved.", _prefix, key);
            _ok = false;
        }
        return *this;
    }

    // Whether every entry was taken.
    bool IsOk() const { return _ok; }

  private:
    wxConfigBase & _config;
    char const * _prefix;
    bool _ok = true;
};

} // namespace velm::config

#endif
