#include "export/ome_xml.h"

#include "drivers/base/camera_setting.h"
#include "velm_db.h"
#include "velm_fov.h"
#include "vexacore/grey_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <wx/regex.h>
#include <wx/sstream.h>
#include <wx/xml/xml.h>

namespace velm::ome {

namespace {

constexpr char const * schema = "http://www.openmicroscopy.org/Schemas/OME/2016-06";
constexpr double positions_per_micron = 10.0; // of stage and Z drive
constexpr double microseconds_per_millisecond = 1000.0;

// What the record says when nothing is known.
constexpr char const * unknown = "Unknown";

// Characters that no XML may hold become blanks.
wxString Printable(wxString const & text)
{
    wxString printable;
    for (wxUniChar const character : text) {
        bool const is_allowed =
            character >= 0x20 || character == '\t' || character == '\n' || character == '\r';
        printable += is_allowed ? character : wxUniChar(' ');
    }
    return printable;
}

// An element of the document, which owns it.
class Element {
  public:
    explicit Element(wxXmlNode * node) : _node(node) {}

    Element Add(char const * name) const
    {
        auto * const child = new wxXmlNode(nullptr, wxXML_ELEMENT_NODE, name);
        _node->AddChild(child);
        return Element(child);
    }

    // Adds a text inside.
    void Text(wxString const & text) const
    {
        _node->AddChild(new wxXmlNode(nullptr, wxXML_TEXT_NODE, wxEmptyString, Printable(text)));
    }

    Element const & Set(char const * name, wxString const & value) const
    {
        _node->AddAttribute(name, Printable(value));
        return *this;
    }
    Element const & Set(char const * name, char const * value) const { return Set(name, wxString(value)); }
    Element const & Set(char const * name, double value) const
    {
        return Set(name, wxString(vexa::NumberText(value)));
    }
    Element const & Set(char const * name, long value) const
    {
        return Set(name, wxString::Format("%ld", value));
    }

    // A quantity and, beside it, its unit.
    Element const & Set(wxString const & name, double value, char const * unit) const
    {
        _node->AddAttribute(name, vexa::NumberText(value));
        _node->AddAttribute(name + "Unit", wxString::FromUTF8(unit));
        return *this;
    }

  private:
    wxXmlNode * _node;
};

constexpr char const * micron = "\xC2\xB5m";
constexpr char const * nanometre = "nm";
constexpr char const * second = "s";
constexpr char const * millisecond = "ms";

wxString Id(char const * kind, std::size_t number)
{
    return wxString::Format("%s:%zu", kind, number);
}

// Red, green, blue and opacity in one signed number, as the schema has it.
long ColourOf(VELM_Channel const & channel)
{
    switch (GetVisTypeColour(channel.GetVisType())) {
    case VIS_RED:
        return static_cast<std::int32_t>(0xFF0000FFu);
    case VIS_GREEN:
        return static_cast<std::int32_t>(0x00FF00FFu);
    case VIS_BLUE:
        return static_cast<std::int32_t>(0x0000FFFFu);
    default:
        return static_cast<std::int32_t>(0xFFFFFFFFu);
    }
}

wxString BinningOf(VELM_CameraSetting const & setting)
{
    wxString const binning = wxString::Format("%dx%d", setting.GetSBin(), setting.GetPBin());
    bool const named = binning == "1x1" || binning == "2x2" || binning == "4x4" || binning == "8x8";
    return named ? binning : wxString("Other");
}

double Milliseconds(wxDateTime const & from, wxDateTime const & to)
{
    return (to - from).GetMilliseconds().ToDouble();
}

// Gives each distinct text an index, in the order of arrival.
class Numbering {
  public:
    std::size_t operator[](wxString const & text)
    {
        auto const place = std::find(_texts.begin(), _texts.end(), text);
        std::size_t const index = static_cast<std::size_t>(place - _texts.begin());
        if (place == _texts.end()) {
            _texts.push_back(text);
        }
        return index;
    }
    std::vector<wxString> const & GetTexts() const { return _texts; }

  private:
    std::vector<wxString> _texts;
};

// Builds the document.
class Document {
  public:
    Document(VELM_FOV const & fov, VELM_Database const & db, std::vector<ImageGroup> const & images)
        : _fov(fov), _db(db), _images(images), _began(FirstStart())
    {
        for (ImageGroup const & image : images) {
            for (unsigned int const channel : image.channels) {
                _cameras[SettingOf(channel).GetDriverName()];
                _filters[ExFilterOf(channel)];
                _filters[EmFilterOf(channel)];
            }
        }
    }

    std::string Make(wxString const & name)
    {
        wxXmlDocument document;
        auto * const node = new wxXmlNode(nullptr, wxXML_ELEMENT_NODE, "OME");
        document.SetRoot(node);
        Element const root(node);
        root.Set("xmlns", schema);
        root.Set("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance");
        root.Set("xsi:schemaLocation", wxString(schema) + " " + schema + "/ome.xsd");
        root.Set("Creator", "velm " VELM_VERSION);
        AddInstrument(root);
        for (std::size_t i = 0; i < _images.size(); ++i) {
            AddImage(root, i, name);
        }
        wxStringOutputStream out;
        document.Save(out, 0);
        return out.GetString().utf8_string();
    }

  private:
    VELM_CameraSetting const & SettingOf(unsigned int channel) const
    {
        return *_fov.GetChannel(channel).GetCameraSetting(); // a record that loads has one for each
    }
    wxString ExFilterOf(unsigned int channel) const
    {
        return _db.GetExFilterDesc(_fov.GetChannel(channel).GetExId());
    }
    wxString EmFilterOf(unsigned int channel) const
    {
        return _db.GetEmFilterDesc(_fov.GetChannel(channel).GetEmId());
    }

    wxDateTime FirstStart() const
    {
        wxDateTime first = _fov.GetTimeInterval(_images.front().channels.front()).GetStartTime();
        for (ImageGroup const & image : _images) {
            for (unsigned int const channel : image.channels) {
                first = std::min(first, _fov.GetTimeInterval(channel).GetStartTime());
            }
        }
        return first;
    }

    bool HasObjective() const { return _fov.GetHardwareParams().GetObjDesc() != unknown; }

    void AddInstrument(Element const & root)
    {
        Element const instrument = root.Add("Instrument").Set("ID", Id("Instrument", 0));
        if (_fov.GetHardwareParams().GetHWDesc() != unknown) {
            instrument.Add("Microscope").Set("Model", _fov.GetHardwareParams().GetHWDesc());
        }
        for (wxString const & camera : _cameras.GetTexts()) {
            instrument.Add("Detector").Set("ID", Id("Detector", _cameras[camera])).Set("Model", camera);
        }
        if (HasObjective()) {
            AddObjective(instrument, _fov.GetHardwareParams().GetObjDesc());
        }
        for (wxString const & filter : _filters.GetTexts()) {
            AddFilter(instrument, filter);
        }
    }

    void AddObjective(Element const & instrument, wxString const & description) const
    {
        Element const objective =
            instrument.Add("Objective").Set("ID", Id("Objective", 0)).Set("Model", description);
        auto const & known = _db.GetObjectiveList();
        auto const found = std::find_if(known.begin(), known.end(), [&](VELM_ObjectiveInfo const & info) {
            return info.desc == description;
        });
        if (found != known.end()) {
            objective.Set("NominalMagnification", double{found->magnification});
        }
        if (auto const aperture = ParseAperture(description)) {
            objective.Set("LensNA", *aperture);
        }
    }

    void AddFilter(Element const & instrument, wxString const & description)
    {
        Element const filter =
            instrument.Add("Filter").Set("ID", Id("Filter", _filters[description])).Set("Model", description);
        if (auto const band = ParsePassBand(description)) {
            filter.Set("Type", "BandPass");
            filter.Add("TransmittanceRange")
                .Set("CutIn", band->centre - band->width / 2.0, nanometre)
                .Set("CutOut", band->centre + band->width / 2.0, nanometre);
        }
    }

    void AddImage(Element const & root, std::size_t number, wxString const & name)
    {
        ImageGroup const & image = _images[number];
        Element const element = root.Add("Image").Set("ID", Id("Image", number)).Set("Name", name);
        element.Add("AcquisitionDate").Text(_began.Format("%Y-%m-%dT%H:%M:%S.%lZ", wxDateTime::UTC));
        element.Add("InstrumentRef").Set("ID", Id("Instrument", 0));
        if (HasObjective()) {
            element.Add("ObjectiveSettings").Set("ID", Id("Objective", 0));
        }
        AddStageLabel(element);
        Element const pixels = element.Add("Pixels");
        pixels.Set("ID", Id("Pixels", number)).Set("DimensionOrder", "XYZCT").Set("Type", "uint16");
        pixels.Set("SizeX", static_cast<long>(image.size.x)).Set("SizeY", static_cast<long>(image.size.y));
        pixels.Set("SizeZ", static_cast<long>(image.size.z));
        pixels.Set("SizeC", static_cast<long>(image.channels.size())).Set("SizeT", 1L);
        static constexpr char const * sizes[] = {"PhysicalSizeX", "PhysicalSizeY", "PhysicalSizeZ"};
        for (unsigned int axis = 0; axis < 3; ++axis) {
            if (image.resolution[axis] > 0.0F) {
                pixels.Set(sizes[axis], 1.0 / double{image.resolution[axis]}, micron);
            }
        }
        for (std::size_t c = 0; c < image.channels.size(); ++c) {
            AddChannel(pixels, wxString::Format("Channel:%zu:%zu", number, c), image.channels[c]);
        }
        pixels.Add("TiffData").Set("IFD", _pages).Set("PlaneCount", image.CountPages());
        _pages += image.CountPages();
        for (std::size_t c = 0; c < image.channels.size(); ++c) {
            AddPlanes(pixels, image, c);
        }
    }

    void AddStageLabel(Element const & image) const
    {
        VELM_Coord const & coord = _fov.GetCoord();
        long x = 0;
        long y = 0;
        long z = 0;
        coord.GetPosition(x, y, z);
        image.Add("StageLabel")
            .Set("Name", wxString::Format("Coordinate %ld", coord.GetId()))
            .Set("X", static_cast<double>(x) / positions_per_micron, micron)
            .Set("Y", static_cast<double>(y) / positions_per_micron, micron)
            .Set("Z", static_cast<double>(z) / positions_per_micron, micron);
    }

    void AddChannel(Element const & pixels, wxString const & id, unsigned int position)
    {
        VELM_Channel const & channel = _fov.GetChannel(position);
        wxString const ex_filter = ExFilterOf(position);
        wxString const em_filter = EmFilterOf(position);
        Element const element = pixels.Add("Channel").Set("ID", id).Set("Name", channel.GetName());
        element.Set("SamplesPerPixel", 1L).Set("Color", ColourOf(channel));
        element.Set("Fluor", _db.GetMarkerName(channel.GetMarkerId()));
        if (auto const band = ParsePassBand(ex_filter)) {
            element.Set("ExcitationWavelength", band->centre, nanometre);
        }
        if (auto const band = ParsePassBand(em_filter)) {
            element.Set("EmissionWavelength", band->centre, nanometre);
        }
        VELM_CameraSetting const & setting = SettingOf(position);
        element.Add("DetectorSettings")
            .Set("ID", Id("Detector", _cameras[setting.GetDriverName()]))
            .Set("Binning", BinningOf(setting));
        Element const path = element.Add("LightPath");
        path.Add("ExcitationFilterRef").Set("ID", Id("Filter", _filters[ex_filter]));
        path.Add("EmissionFilterRef").Set("ID", Id("Filter", _filters[em_filter]));
    }

    void AddPlanes(Element const & pixels, ImageGroup const & image, std::size_t c) const
    {
        unsigned int const channel = image.channels[c];
        VELM_TimeInterval const & time = _fov.GetTimeInterval(channel);
        double const start = Milliseconds(_began, time.GetStartTime());
        double const slice_time =
            std::max(0.0, Milliseconds(time.GetStartTime(), time.GetEndTime())) / image.size.z;
        auto const exposure = static_cast<double>(SettingOf(channel).GetExposure());
        long x = 0;
        long y = 0;
        long z = 0;
        _fov.GetCoord().GetPosition(x, y, z);
        double const step = image.resolution.z > 0.0F ? 1.0 / double{image.resolution.z} : 0.0;
        for (unsigned int slice = 0; slice < image.size.z; ++slice) {
            Element const plane = pixels.Add("Plane");
            plane.Set("TheZ", static_cast<long>(slice)).Set("TheC", static_cast<long>(c)).Set("TheT", 0L);
            plane.Set("DeltaT", std::round(start + slice * slice_time) / 1000.0, second);
            if (exposure > 0.0) {
                plane.Set("ExposureTime", exposure / microseconds_per_millisecond, millisecond);
            }
            plane.Set("PositionX", static_cast<double>(x) / positions_per_micron, micron);
            plane.Set("PositionY", static_cast<double>(y) / positions_per_micron, micron);
            plane.Set("PositionZ",
                      static_cast<double>(z) / positions_per_micron +
                          (slice - (image.size.z - 1) / 2.0) * step,
                      micron);
        }
    }

    VELM_FOV const & _fov;
    VELM_Database const & _db;
    std::vector<ImageGroup> const & _images;
    wxDateTime const _began; // of the first channel
    Numbering _cameras;
    Numbering _filters;
    long _pages = 0; // of the images so far
};

} // namespace

std::optional<PassBand> ParsePassBand(wxString const & description)
{
    constexpr double shortest = 200.0; // nanometres, of what optics let through
    wxRegEx const pattern("(^|[^0-9.])([0-9]{3,4})/([0-9]{1,3})([^0-9.]|$)", wxRE_EXTENDED);
    PassBand band{};
    if (!pattern.Matches(description) || !pattern.GetMatch(description, 2).ToCDouble(&band.centre) ||
        !pattern.GetMatch(description, 3).ToCDouble(&band.width) || band.width <= 0.0 ||
        band.centre - band.width / 2.0 < shortest) {
        return std::nullopt;
    }
    return band;
}

std::optional<double> ParseAperture(wxString const & description)
{
    wxRegEx const pattern("[0-9]x */ *([01]\\.[0-9]+)([^0-9.]|$)", wxRE_EXTENDED);
    double aperture = 0.0;
    if (!pattern.Matches(description) || !pattern.GetMatch(description, 1).ToCDouble(&aperture) ||
        aperture <= 0.0) {
        return std::nullopt;
    }
    return aperture;
}

std::string MakeOmeXml(VELM_FOV const & fov, VELM_Database const & db, std::vector<ImageGroup> const & images,
                       wxString const & name)
{
    return Document(fov, db, images).Make(name);
}

} // namespace velm::ome
