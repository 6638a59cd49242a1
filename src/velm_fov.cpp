#include "velm_fov.h"

#include "velm_config.h"

namespace velm {

namespace {

constexpr char const * LOADING = "loading FOV : ";
constexpr char const * SAVING = "saving FOV : ";

// The place as a record's file has it: all but its type.
struct StoredCoord {
    int id = 0;
    int s1 = 0;
    int p1 = 0;
    int s2 = 0;
    int p2 = 0;
    long x = 0;
    long y = 0;
    long z = 0;

    explicit StoredCoord(VELM_Coord const & coord) : id(static_cast<int>(coord.GetId()))
    {
        coord.GetCameraRegion(s1, p1, s2, p2);
        coord.GetPosition(x, y, z);
    }

    void CopyTo(VELM_Coord & coord) const
    {
        coord.SetId(id);
        coord.SetCameraRegion(s1, p1, s2, p2);
        coord.SetStagePosition(x, y);
        coord.SetZDrivePosition(z);
    }
};

bool SaveCoord(wxFileConfig & config, VELM_Coord const & coord)
{
    StoredCoord const stored(coord);
    return config::RecordWriter(config, SAVING)
        .Entry("ID", stored.id)
        .Entry("S1", stored.s1)
        .Entry("P1", stored.p1)
        .Entry("S2", stored.s2)
        .Entry("P2", stored.p2)
        .Entry("X", stored.x)
        .Entry("Y", stored.y)
        .Entry("Z", stored.z)
        .IsOk();
}

bool LoadCoord(wxFileConfig & config, VELM_Coord & coord)
{
    StoredCoord stored(coord);
    bool const ok = config::RecordReader(config, LOADING)
                        .Compulsory("ID", stored.id)
                        .Compulsory("S1", stored.s1)
                        .Compulsory("P1", stored.p1)
                        .Compulsory("S2", stored.s2)
                        .Compulsory("P2", stored.p2)
                        .Compulsory("X", stored.x)
                        .Compulsory("Y", stored.y)
                        .Compulsory("Z", stored.z)
                        .IsOk();
    stored.CopyTo(coord);
    return ok;
}

// Runs calls inside groups and remembers whether all of them were true.
class Sections {
  public:
    Sections(wxFileConfig & config, bool ok) : _config(config), _ok(ok) {}

    template <typename Call>
    void In(wxString const & group, Call const & call)
    {
        config::GroupScope const scope(_config, group);
        _ok = call() && _ok;
    }

    // Runs the call for each element, inside the group's own group for the channel at its position.
    template <typename Elements, typename Call>
    void ForEachChannelIn(wxString const & group, VELM_ChannelList const & channels, Elements & elements,
                          Call const & call)
    {
        config::GroupScope const scope(_config, group);
        for (unsigned int i = 0; i < channels.GetCount() && i < elements.size(); ++i) {
            In(wxString::Format("Channel%02ld", channels[i].GetId()), [&] { return call(elements[i]); });
        }
    }

    bool IsOk() const { return _ok; }

  private:
    wxFileConfig & _config;
    bool _ok;
};

} // namespace

void VELM_FOV::AddChannel(VELM_Channel const & channel)
{
    unsigned int const count = GetNumChannels();
    _channels.Insert(channel);
    if (GetNumChannels() > count) {
        _time.emplace_back();
        _corr.emplace_back();
    }
}

void VELM_FOV::StartChannel(VELM_Channel const & channel)
{
    unsigned int const count = GetNumChannels();
    AddChannel(channel);
    if (GetNumChannels() > count) {
        _time.back().Start();
    }
}

void VELM_FOV::EndChannel()
{
    if (!_time.empty()) {
        _time.back().End();
    }
}

void VELM_FOV::EndChannel(unsigned int i)
{
    _time[i].End();
}

void VELM_FOV::SetChannelList(VELM_ChannelList const & channels)
{
    _channels = channels;
    _time.resize(_channels.GetCount());
    _corr.resize(_channels.GetCount());
}

void VELM_FOV::SetTimeInterval(unsigned int i, VELM_TimeInterval const & time)
{
    wxASSERT(i < _time.size());
    _time[i] = time;
}

VELM_CorrectionSettings const & VELM_FOV::GetCorrSettings(unsigned int i) const
{
    wxASSERT(i < _corr.size());
    return _corr[i];
}

VELM_CorrectionSettings & VELM_FOV::GetCorrSettings(unsigned int i)
{
    wxASSERT(i < _corr.size());
    return _corr[i];
}

void VELM_FOV::SetCorrSettings(unsigned int i, VELM_CorrectionSettings const & settings)
{
    wxASSERT(i < _corr.size());
    _corr[i] = settings;
}

VELM_TimeInterval const & VELM_FOV::GetTimeIntervalById(long id) const
{
    return _time[ChannelIndex(id, VELM_FUNCTION)];
}

VELM_CorrectionSettings const & VELM_FOV::GetCorrSettingsById(long id) const
{
    return _corr[ChannelIndex(id, VELM_FUNCTION)];
}

VELM_CorrectionSettings & VELM_FOV::GetCorrSettingsById(long id)
{
    return _corr[ChannelIndex(id, VELM_FUNCTION)];
}

void VELM_FOV::SetCorrSettingsById(long id, VELM_CorrectionSettings const & settings)
{
    _corr[ChannelIndex(id, VELM_FUNCTION)] = settings;
}

std::size_t VELM_FOV::ChannelIndex(long id, char const * function) const
{
    long const index = _channels.GetIndex(id);
    if (index < 0) {
        throw VELM_Error(wxString::Format("%s: Channel with id=%ld not found", function, id));
    }
    return static_cast<std::size_t>(index);
}

bool VELM_FOV::Save(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository) const
{
    bool const ok = config::RecordWriter(config, SAVING)
                        .Entry("VERSION", "1.6")
                        .Entry("NUM_SLICES", _num_slices)
                        .Entry("STEP_Z", _step_z)
                        .IsOk();
    Sections file(config, ok);
    file.In("Hardware", [&] { return _hw.Save(config, SAVING); });
    file.In("Cropping", [&] { return _crop.Save(config, SAVING); });
    file.In("Coordinate", [&] { return SaveCoord(config, _coord); });
    file.In("Channels", [&] { return _channels.Save(config, db, depository, nullptr); });
    file.ForEachChannelIn("Corrections", _channels, _corr, [&](auto & corr) { return corr.Save(config); });
    file.ForEachChannelIn("Times", _channels, _time, [&](auto & time) { return time.Save(config); });
    return file.IsOk();
}

bool VELM_FOV::Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository)
{
    bool const ok = config::RecordReader(config, LOADING)
                        .Compulsory("NUM_SLICES", _num_slices)
                        .Compulsory("STEP_Z", _step_z)
                        .IsOk();
    Sections file(config, ok);
    file.In("Hardware", [&] {
        _hw.Load(config);
        return true;
    });
    file.In("Cropping", [&] {
        _crop.Load(config);
        return true;
    });
    file.In("Coordinate", [&] { return LoadCoord(config, _coord); });
    file.In("Channels", [&] { return _channels.Load(config, db, depository, true, true) && HasSettings(); });

    _corr.assign(_channels.GetCount(), VELM_CorrectionSettings());
    file.ForEachChannelIn("Corrections", _channels, _corr, [&](auto & corr) {
        corr.Load(config);
        return true;
    });
    _time.resize(_channels.GetCount()); // a missing time keeps the value that it had
    file.ForEachChannelIn("Times", _channels, _time, [&](auto & time) { return time.Load(config); });
    return file.IsOk();
}

bool VELM_FOV::HasSettings() const
{
    for (unsigned int i = 0; i < GetNumChannels(); ++i) {
        if (GetChannel(i).GetCameraSetting() == nullptr) {
            return false;
        }
    }
    return true;
}

} // namespace velm
