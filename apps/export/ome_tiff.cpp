#include "export/ome_tiff.h"

#include "export/ome_xml.h"
#include "velm_depository.h"
#include "vexacore/tiff_writer.h"

#include <algorithm>
#include <string>
#include <wx/filename.h>

namespace velm::ome {

namespace {

// Slices are read in runs: a compressed stack may have to be unpacked from its start at each read.
constexpr std::size_t bytes_of_a_run = std::size_t{64} << 20;

ExportError Failure(wxString const & text)
{
    return ExportError(text.utf8_string());
}

// One export: what it reads, what it writes, and how far it is.
class Export {
  public:
    Export(VELM_Depository & depository, long fov_id, ExportOptions const & options,
           ExportProgress const & progress)
        : _depository(depository), _id(fov_id), _options(options), _progress(progress)
    {
        LoadRecord();
        for (unsigned int const channel : ChooseChannels()) {
            AddToGroups(channel);
        }
    }

    void WriteTo(wxString const & file)
    {
        vexa::TiffWriter writer(file.fn_str(), CountBytes() > _options.largest_classic_file,
                                _options.compress);
        std::string description = MakeOmeXml(_fov, *_depository.GetDatabase(), _images, ImageName());
        for (ImageGroup const & image : _images) {
            for (unsigned int const channel : image.channels) {
                AppendStack(image, _fov.GetChannel(channel).GetId(), description, writer);
            }
        }
        writer.Commit();
    }

  private:
    void LoadRecord()
    {
        auto const & ids = _depository.FOV_GetIdListRef();
        if (!std::binary_search(ids.begin(), ids.end(), _id)) {
            throw Failure(wxString::Format("The depository has no FOV %ld.", _id));
        }
        if (!_depository.FOV_Load(_id, _fov)) {
            throw Failure(wxString::Format("FOV %ld could not be loaded.", _id));
        }
    }

    // Positions in the record's list, ascending.
    std::vector<unsigned int> ChooseChannels() const
    {
        for (long const id : _options.channels) {
            if (!_fov.GetChannelListRef().Contains(id)) {
                throw Failure(wxString::Format("FOV %ld has no channel %ld.", _id, id));
            }
        }
        std::vector<unsigned int> chosen;
        for (unsigned int i = 0; i < _fov.GetNumChannels(); ++i) {
            auto const & wanted = _options.channels;
            if (wanted.empty() ||
                std::find(wanted.begin(), wanted.end(), _fov.GetChannel(i).GetId()) != wanted.end()) {
                chosen.push_back(i);
            }
        }
        if (chosen.empty()) {
            throw Failure(wxString::Format("FOV %ld has no channels.", _id));
        }
        return chosen;
    }

    ExportError Unreadable(long channel_id) const
    {
        return Failure(
            wxString::Format("The stack of channel %ld of FOV %ld could not be read.", channel_id, _id));
    }

    void AddToGroups(unsigned int channel)
    {
        long const channel_id = _fov.GetChannel(channel).GetId();
        ImageGroup own;
        if (!_depository.FOV_GetDimensions(_id, channel_id, own.size, own.offset, own.resolution)) {
            throw Unreadable(channel_id);
        }
        auto const same = std::find_if(_images.begin(), _images.end(),
                                       [&own](ImageGroup const & image) { return image.HasGeometryOf(own); });
        (same == _images.end() ? _images.emplace_back(own) : *same).channels.push_back(channel);
        _pages += static_cast<long>(own.size.z);
    }

    std::uint64_t CountBytes() const
    {
        std::uint64_t bytes = 0;
        for (ImageGroup const & image : _images) {
            bytes += static_cast<std::uint64_t>(image.CountPages()) * image.size.x * image.size.y *
                     sizeof(unsigned short);
        }
        return bytes;
    }

    wxString ImageName() const
    {
        return wxFileName::DirName(_depository.GetDir()).GetDirs().Last() + " FOV " +
               _depository.FOV_IdToString(_id);
    }

    // description: goes with the first page of the file and is empty from then on.
    void AppendStack(ImageGroup const & image, long channel_id, std::string & description,
                     vexa::TiffWriter & writer)
    {
        std::size_t const slice_bytes = std::size_t{image.size.x} * image.size.y * sizeof(unsigned short);
        auto const run =
            static_cast<unsigned int>(std::clamp<std::size_t>(bytes_of_a_run / slice_bytes, 1, image.size.z));
        vexa::Image3d<unsigned short> slices;
        for (unsigned int first = 0; first < image.size.z; first += run) {
            unsigned int const count = std::min(run, image.size.z - first);
            vexa::Box box(0, 0, static_cast<int>(first), image.size.x, image.size.y, count);
            if (!_depository.FOV_LoadImage(_id, channel_id, slices, &box)) {
                throw Unreadable(channel_id);
            }
            for (unsigned int slice = 0; slice < count; ++slice) {
                AppendSlice(slices, slice, description, writer);
            }
        }
    }

    void AppendSlice(vexa::Image3d<unsigned short> const & slices, unsigned int slice,
                     std::string & description, vexa::TiffWriter & writer)
    {
        vexa::GreyView const view{{{slices.size.x, slices.size.y, 1}, slices.offset, slices.resolution},
                                  sizeof(unsigned short),
                                  reinterpret_cast<unsigned char const *>(slices.GetVoxelAddr(0, 0, slice))};
        writer.Append(view, description);
        description.clear();
        ++_written;
        if (_progress) {
            _progress(_written, _pages);
        }
    }

    VELM_Depository & _depository;
    long _id;
    ExportOptions const & _options;
    ExportProgress const & _progress;
    VELM_FOV _fov;
    std::vector<ImageGroup> _images;
    long _pages = 0; // of all images
    long _written = 0;
};

} // namespace

ExportError::~ExportError() = default;

void ExportFov(VELM_Depository & depository, long fov_id, wxString const & file,
               ExportOptions const & options, ExportProgress const & progress)
{
    Export(depository, fov_id, options, progress).WriteTo(file);
}

} // namespace velm::ome
