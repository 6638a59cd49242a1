#include "velm_config.h"

#include "vexacore/exceptions.h"
#include "vexacore/file_io.h"

#include <cstdio>
#include <limits>
#include <string>
#include <wx/filefn.h>
#include <wx/sstream.h>

namespace velm::config {

namespace {

// The bytes of the file; none when it isn't there. Throws vexa::IOException.
std::string ContentOf(wxString const & path)
{
    if (!wxFileExists(path)) {
        return {};
    }
    vexa::InputFile const file(path.fn_str());
    return file.ReadAll(file.GetSize());
}

} // namespace

DescriptionFile::DescriptionFile(wxString const & path, Expansion expansion, long style, Content content)
    : wxFileConfig(wxEmptyString, wxEmptyString, content == Content::Kept ? path : wxString(), wxEmptyString,
                   style, wxConvAuto()),
      _path(path), _content(content)
{
    SetExpandEnvVars(expansion == Expansion::On);
}

bool DescriptionFile::Close()
{
    wxStringOutputStream stream;
    Save(stream, wxConvUTF8); // after which the toolkit has nothing to write
    std::string const text(stream.GetString().utf8_str());
    try {
        if (text == ContentOf(_path)) {
            return true;
        }
        if (text.empty() && _content == Content::Replaced) {
            return std::remove(_path.fn_str()) == 0;
        }
        vexa::OutputFile file(_path.fn_str());
        file.Write(text.data(), text.size());
        file.Commit();
        return true;
    } catch (vexa::IOException const &) {
        return false; // the caller words the failure, once
    }
}

bool DescriptionFile::Flush(bool)
{
    return Close();
}

namespace {

// The entry read as the wider type, narrowed to T when it fits.
template <typename T, typename Stored>
std::optional<T> ReadNarrowed(wxConfigBase const & config, wxString const & key)
{
    auto const value = Read<Stored>(config, key);
    if (!value || *value < static_cast<Stored>(std::numeric_limits<T>::lowest()) ||
        *value > static_cast<Stored>(std::numeric_limits<T>::max())) {
        return std::nullopt;
    }
    return static_cast<T>(*value);
}

// The entry's text without blanks around it, which must not keep a number from being read.
std::optional<wxString> ReadTrimmed(wxConfigBase const & config, wxString const & key)
{
    auto text = Read<wxString>(config, key);
    if (text) {
        text->Trim().Trim(false);
    }
    return text;
}

} // namespace

template <>
std::optional<wxString> Read(wxConfigBase const & config, wxString const & key)
{
    wxString value;
    return config.Read(key, &value) ? std::optional(value) : std::nullopt;
}

template <>
std::optional<long> Read(wxConfigBase const & config, wxString const & key)
{
    auto const text = ReadTrimmed(config, key);
    long value = 0;
    return text && text->ToLong(&value, 10) ? std::optional(value) : std::nullopt;
}

template <>
std::optional<unsigned long> Read(wxConfigBase const & config, wxString const & key)
{
    auto const text = ReadTrimmed(config, key);
    unsigned long value = 0;
    // The conversion takes a minus sign and wraps; a negative number doesn't fit.
    bool const fits = text && !text->StartsWith("-") && text->ToULong(&value, 10);
    return fits ? std::optional(value) : std::nullopt;
}

template <>
std::optional<bool> Read(wxConfigBase const & config, wxString const & key)
{
    auto const value = Read<long>(config, key);
    return value ? std::optional(*value != 0) : std::nullopt;
}

template <>
std::optional<int> Read(wxConfigBase const & config, wxString const & key)
{
    return ReadNarrowed<int, long>(config, key);
}

template <>
std::optional<unsigned short> Read(wxConfigBase const & config, wxString const & key)
{
    return ReadNarrowed<unsigned short, long>(config, key);
}

template <>
std::optional<double> Read(wxConfigBase const & config, wxString const & key)
{
    auto const text = ReadTrimmed(config, key);
    double value = 0.0;
    return text && text->ToCDouble(&value) ? std::optional(value) : std::nullopt;
}

template <>
std::optional<float> Read(wxConfigBase const & config, wxString const & key)
{
    return ReadNarrowed<float, double>(config, key);
}

wxString ReadOr(wxConfigBase const & config, wxString const & key, char const * otherwise)
{
    return ReadOr(config, key, wxString::FromUTF8(otherwise));
}

bool Write(wxConfigBase & config, wxString const & key, wxString const & value)
{
    return config.Write(key, value);
}

bool Write(wxConfigBase & config, wxString const & key, char const * value)
{
    return config.Write(key, wxString::FromUTF8(value));
}

bool Write(wxConfigBase & config, wxString const & key, bool value)
{
    return config.Write(key, value);
}

bool Write(wxConfigBase & config, wxString const & key, int value)
{
    return config.Write(key, static_cast<long>(value));
}

bool Write(wxConfigBase & config, wxString const & key, long value)
{
    return config.Write(key, value);
}

bool Write(wxConfigBase & config, wxString const & key, unsigned short value)
{
    return config.Write(key, static_cast<long>(value));
}

bool Write(wxConfigBase & config, wxString const & key, unsigned long value)
{
    return config.Write(key, wxString::Format("%lu", value));
}

bool Write(wxConfigBase & config, wxString const & key, double value)
{
    return config.Write(key, value);
}

void Flush(wxConfigBase & config)
{
    wxLogNull const quiet;
    config.Flush();
}

wxArrayString EntryNames(wxConfigBase const & config)
{
    wxArrayString names;
    wxString name;
    long cookie = 0;
    for (bool more = config.GetFirstEntry(name, cookie); more; more = config.GetNextEntry(name, cookie)) {
        names.push_back(name);
    }
    return names;
}

} // namespace velm::config
