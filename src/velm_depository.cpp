#include "velm_depository.h"

#include "velm_config.h"
#include "velm_depository_kind.h"
#include "velm_log_macros.h"
#include "velm_paths.h"
#include "velm_prompt.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string>
#include <wx/dir.h>
#include <wx/file.h>
#include <wx/filefn.h>
#include <wx/filename.h>

namespace velm {

namespace {

template <typename Thumbnail>
std::unique_ptr<VELM_Thumbnail> MakeThumbnail(VELM_Depository * depository, long id)
{
    return std::make_unique<Thumbnail>(depository, id);
}

} // namespace

VELM_Depository::Kind const VELM_Depository::FOV{"FOV", "fov_id", "rawdata", &VELM_Depository::_fov_id_width,
                                                 MakeThumbnail<VELM_FOV_Thumbnail>};
VELM_Depository::Kind const VELM_Depository::VOI{"VOI", "voi_id", "regions", &VELM_Depository::_voi_id_width,
                                                 MakeThumbnail<VELM_VOI_Thumbnail>};

namespace {

constexpr unsigned int min_thumbnail_size = 16;
constexpr unsigned int max_thumbnail_size = 128;

// Changes the working directory for as long as it lives, or until Keep.
class WorkingDirectory {
  public:
    explicit WorkingDirectory(wxString const & path)
        : _previous(wxGetCwd()), _changed(Path::ChangeDirectory(path))
    {
    }
    ~WorkingDirectory()
    {
        if (_changed) {
            Path::ChangeDirectory(_previous);
        }
    }
    WorkingDirectory(WorkingDirectory const &) = delete;
    WorkingDirectory & operator=(WorkingDirectory const &) = delete;

    bool IsChanged() const { return _changed; }

    // Stays in the directory.
    void Keep() { _changed = false; }

  private:
    wxString _previous;
    bool _changed;
};

// Writes a new file of a list in the place of the old one.
template <typename Write>
bool ReplaceDescription(wxString const & path, Write write)
{
    config::DescriptionFile file(path, config::Expansion::Off, wxCONFIG_USE_RELATIVE_PATH,
                                 config::Content::Replaced);
    bool const written = write(file);
    return file.Close() && written;
}

// Nothing when the file can't be read.
std::optional<std::string> ReadWholeFile(wxString const & path)
{
    wxLogNull const quiet;
    wxFile file;
    if (!file.Open(path)) {
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(std::max<wxFileOffset>(file.Length(), 0)), '\0');
    auto const count = file.Read(bytes.data(), bytes.size());
    if (count == wxInvalidOffset) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

// The id that a record's directory is named by, exactly as the depository prints it; 0 for any other name.
long IdOfDirectory(std::string const & name, int width)
{
    long id = 0;
    auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    bool const is_id = error == std::errc() && end == name.data() + name.size() &&
                       name.size() == static_cast<std::size_t>(width) && id > 0;
    return is_id ? id : 0;
}

} // namespace

VELM_Depository::VELM_Depository(wxString const & dir, VELM_Database * db) : _db(db), _dir(dir) {}

VELM_Depository::~VELM_Depository() = default;

// --- the tree

wxString VELM_Depository::PathOf(wxString const & name) const
{
    return wxString::Format("%s%c%s", _dir, wxFileName::GetPathSeparator(), name);
}

wxString VELM_Depository::PathOf(wxString const & directory, wxString const & name) const
{
    return wxString::Format("%s%c%s", PathOf(directory), wxFileName::GetPathSeparator(), name);
}

wxString VELM_Depository::FOV_GetDir() const
{
    return PathOf(FOV.directory, wxEmptyString);
}

wxString VELM_Depository::VOI_GetDir() const
{
    return PathOf(VOI.directory, wxEmptyString);
}

wxString VELM_Depository::RecordDir(Kind const & kind, long id, bool create) const
{
    wxString const name = wxString::Format(IdFormat(this->*kind.id_width), id);
    wxString const path = PathOf(kind.directory, name) + wxFileName::GetPathSeparator();
    if (create && !wxDir::Exists(path) && !Path::MakeDirectory(path)) {
        VELM_LOG_ERROR("velm::VELM_Depository::%s_GetDir: Unable to create empty %s directory %s", kind.name,
                       kind.name, path);
    }
    return path;
}

wxString VELM_Depository::FOV_GetDir(long id) const
{
    return RecordDir(FOV, id, true);
}

wxString VELM_Depository::VOI_GetDir(long id, bool create) const
{
    return RecordDir(VOI, id, create);
}

wxString VELM_Depository::GetChannelFileName() const
{
    return PathOf("channels.cfg");
}

wxString VELM_Depository::GetCoordFileName() const
{
    return PathOf("coordinates.txt");
}

wxString VELM_Depository::GetGroupFileName() const
{
    return PathOf("groups.txt");
}

wxString VELM_Depository::GetObjectParamFileName() const
{
    return PathOf("object_params.txt");
}

wxString VELM_Depository::GetDeconvJobTableFileName() const
{
    return PathOf("deconv_jobs.txt");
}

wxString VELM_Depository::GetDialogIniFile() const
{
    return PathOf("dialog.ini");
}

wxString VELM_Depository::GetDepCommentFile() const
{
    return PathOf("info.txt");
}

wxString VELM_Depository::GetLogFileName() const
{
    return PathOf("log.txt");
}

wxString VELM_Depository::FOV_GetCropboxFile() const
{
    return PathOf(FOV.directory, "crop.txt");
}

wxString VELM_Depository::VOI_GetCropboxFile() const
{
    return PathOf(VOI.directory, "crop.txt");
}

wxString VELM_Depository::RunLogName(wxString const & directory, wxString const & page,
                                     wxString const & prefix, int digits, long id) const
{
    if (id == 0) {
        return PathOf(directory, page);
    }
    wxString const number = id < 0 ? wxString() : wxString::Format("%0*ld", digits, id);
    return PathOf(directory, prefix + number + ".txt");
}

wxString VELM_Depository::GetScanningLogFileName(long id) const
{
    return RunLogName(FOV.directory, "scanning_log.htm", "slog", 3, id);
}

wxString VELM_Depository::GetProcessingLogFileName(long id) const
{
    return RunLogName(VOI.directory, "processing_log.htm", "plog", 4, id);
}

wxString VELM_Depository::FOV_GetDescFileName(long id) const
{
    return FOV_GetDir(id) + "fov.txt";
}

void VELM_Depository::VOI_GetDescFileName(long id, wxString & record, wxString & objects,
                                          wxString & segmentations) const
{
    wxString const directory = VOI_GetDir(id, true);
    record = directory + "roi.txt";
    objects = directory + "objects.txt";
    segmentations = directory + "segres.txt";
}

void VELM_Depository::VOI_GetSegResFileName(long id, long seg_res_id, wxString & result,
                                            wxString & projection, wxString & border) const
{
    wxString const directory = VOI_GetDir(id, true);
    result = wxString::Format("%sl%02ld", directory, seg_res_id);
    projection = wxString::Format("%sl%02ld_af_c", directory, seg_res_id);
    border = wxString::Format("%sl%02ld_af_b", directory, seg_res_id);
}

// --- ids

long VELM_Depository::MaxIdOfWidth(int width)
{
    long limit = 1;
    for (int digit = 0; digit < width; ++digit) {
        limit *= 10;
    }
    return limit - 1;
}

wxString VELM_Depository::IdFormat(int width)
{
    return wxString::Format("%%0%dld", width);
}

long VELM_Depository::VOI_GetNextId() const
{
    long const next = std::max(VOI_GetLastId(), FOV_GetMaxId()) + 1;
    return next > VOI_GetMaxId() ? -1 : next;
}

void VELM_Depository::ReloadIds(Kind const & kind, wxArrayLong & ids, int width) const
{
    namespace fs = std::filesystem;
    ids.clear();
    std::error_code error;
    // The standard iterator knows what is a directory from the listing itself; asking the file system about
    // each entry would cost many times as much.
    for (fs::directory_iterator entry(fs::path(std::string(PathOf(kind.directory).fn_str())), error), end;
         !error && entry != end; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        std::error_code not_readable;
        if (wxString::FromUTF8(name).length() != static_cast<std::size_t>(width) || name.front() == '.' ||
            !entry->is_directory(not_readable)) {
            continue;
        }
        if (long const id = IdOfDirectory(name, width); id > 0) {
            ids.push_back(id);
        } else {
            VELM_LOG_ERROR("Directory %s is not %s. Bad depository format.", wxString::FromUTF8(name),
                           kind.name);
        }
    }
    std::sort(ids.begin(), ids.end());
}

// --- opening and closing

bool VELM_Depository::Exist() const
{
    if (!wxDir::Exists(_dir)) {
        return false;
    }
    wxDir const directory(_dir);
    return directory.IsOpened() && (directory.HasFiles() || directory.HasSubDirs());
}

bool VELM_Depository::IsValid() const
{
    if (!Exist()) {
        return false;
    }
    WorkingDirectory const inside(_dir);
    return inside.IsChanged() && wxDir::Exists(FOV.directory) && wxDir::Exists(VOI.directory) &&
           (wxDir::Exists("calib_images") || Path::MakeDirectory("calib_images"));
}

bool VELM_Depository::CreateEmpty()
{
    if (Exist() || (!wxDir::Exists(_dir) && !Path::MakeDirectory(_dir))) {
        return false;
    }
    WorkingDirectory inside(_dir);
    if (!inside.IsChanged()) {
        return false;
    }
    bool const made = Path::MakeDirectory(FOV.directory) && Path::MakeDirectory(VOI.directory) &&
                      Path::MakeDirectory("calib_images") && Path::CreateEmptyFile("channels.cfg") &&
                      Path::CreateEmptyFile("coordinates.txt") && Path::CreateEmptyFile("groups.txt");
    if (!made) {
        inside.Keep(); // callers rely on finding themselves where the failure happened
    }
    return made;
}

bool VELM_Depository::Open()
{
    if (!Exist() && !CreateEmpty()) {
        return false;
    }
    try {
        Reload();
        _is_open = true;
        _read_only = TestReadOnly();
        return true;
    } catch (std::exception const & error) {
        VELM_LOG_ERROR("%s", detail::ExceptionText(error));
        return false;
    }
}

bool VELM_Depository::TestReadOnly() const
{
    {
        WorkingDirectory const inside(_dir);
        wxLogNull const quiet; // being read-only is an answer, not an error
        wxFile file;
        if (inside.IsChanged() && file.Open("read-only-test.txt", wxFile::write)) {
            file.Close();
            wxRemoveFile("read-only-test.txt");
            return false;
        }
    }
    prompt::ShowMessage("Opening depository in read-only mode.", "Warning",
                        wxOK | wxCENTRE | wxICON_EXCLAMATION);
    return true;
}

void VELM_Depository::Close()
{
    _channels.Clear();
    _coords.Clear();
    _groups.Clear();
    _param_descs.Clear();
    _fov_ids.clear();
    _voi_ids.clear();
    _deconv_jobs.Clear();
    _is_open = false;
}

void VELM_Depository::Reload()
{
    ReloadChannels();
    ReloadGroups();
    ReloadObjectParams();
    ReloadDeconvJobTable();
    _coords.Load(GetCoordFileName());
    ReloadIds(FOV, _fov_ids, _fov_id_width);
    ReloadIds(VOI, _voi_ids, _voi_id_width);
}

void VELM_Depository::ReloadChannels()
{
    wxASSERT(_db);
    config::DescriptionFile file(GetChannelFileName());
    _channels.Load(file, _db, this, false, true);
}

void VELM_Depository::ReloadGroups()
{
    config::DescriptionFile file(GetGroupFileName());
    _groups.Load(file);
}

void VELM_Depository::ReloadObjectParams()
{
    config::DescriptionFile file(GetObjectParamFileName());
    _param_descs.Load(file);
}

void VELM_Depository::ReloadDeconvJobTable()
{
    config::DescriptionFile file(GetDeconvJobTableFileName());
    _deconv_jobs.Load(file);
}

// --- saving

bool VELM_Depository::Save()
{
    wxString failures;
    auto const note = [&failures](bool saved, char const * failure) {
        if (!saved) {
            failures << failure;
        }
    };
    note(SaveChannels(nullptr), "Channels not saved.\n");
    note(SaveCoords(), "Coordinates not saved.\n");
    note(SaveGroups(), "Groups not saved.\n");
    note(SaveObjectParams(), "Object parameters not saved.\n");
    note(SaveDeconvJobTable(), "Deconvolution job table not saved.\n");
    if (!failures.empty()) {
        VELM_LOG_ERROR("%s", failures);
    }
    return failures.empty();
}

bool VELM_Depository::SaveChannels(wxArrayInt const * calib_ids)
{
    wxASSERT(_db != 0);
    return ReplaceDescription(GetChannelFileName(), [&](wxFileConfig & file) {
        return _channels.Save(file, _db, this, calib_ids);
    });
}

bool VELM_Depository::SaveCoords()
{
    return _coords.Save(GetCoordFileName());
}

bool VELM_Depository::SaveGroups()
{
    return ReplaceDescription(GetGroupFileName(), [&](wxFileConfig & file) { return _groups.Save(file); });
}

bool VELM_Depository::SaveObjectParams()
{
    return ReplaceDescription(GetObjectParamFileName(),
                              [&](wxFileConfig & file) { return _param_descs.Save(file); });
}

bool VELM_Depository::SaveDeconvJobTable()
{
    return ReplaceDescription(GetDeconvJobTableFileName(),
                              [&](wxFileConfig & file) { return _deconv_jobs.Save(file); });
}

// --- the rest

void VELM_Depository::GetThumbnailLimits(unsigned int & min, unsigned int & max) const
{
    min = min_thumbnail_size;
    max = max_thumbnail_size;
}

bool VELM_Depository::ReadComment(wxString & text) const
{
    wxString const path = GetDepCommentFile();
    if (!wxFileExists(path)) {
        text.clear();
        return true;
    }
    auto content = ReadWholeFile(path);
    if (!content) {
        VELM_LOG_ERROR("%s: Unable to open info file %s", VELM_FUNCTION, path);
        return false;
    }
    std::string & bytes = *content;
    bytes.erase(std::remove(bytes.begin(), bytes.end(), '\r'), bytes.end());
    text = wxString::FromUTF8(bytes);
    if (text.empty()) {
        text = wxString::From8BitData(bytes.data(), bytes.size()); // written elsewhere in another encoding
    }
    return true;
}

bool VELM_Depository::WriteComment(wxString const & text) const
{
    wxString const path = GetDepCommentFile();
    auto const bytes = text.utf8_str();
    bool opened = false;
    bool written = false;
    {
        wxLogNull const quiet;
        wxFile file;
        opened = file.Create(path, true, 0666);
        written = opened && file.Write(bytes.data(), bytes.length()) == bytes.length() && file.Close();
    }
    if (!opened) {
        VELM_LOG_ERROR("%s: Unable to open info file %s", VELM_FUNCTION, path);
    } else if (!written) {
        VELM_LOG_ERROR("%s: Unable to write to file", VELM_FUNCTION);
    }
    return written;
}

} // namespace velm
