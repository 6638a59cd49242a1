#include "truth_rig.h"

#include "sim_truth.h"
#include "velm_prefs.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <wx/fileconf.h>

namespace velm::bench {

namespace {

constexpr int every_option = VELM_BC_Mixer::MANUAL_SHIFT | VELM_BC_Mixer::AUTOMATIC_SHIFT |
                             VELM_BC_Mixer::ILLUMINATION | VELM_BC_Mixer::CHROMATIC_ABERRATION;

void Require(bool done, char const * what)
{
    if (!done) {
        throw std::runtime_error(std::string("failed: ") + what);
    }
}

long Tenths(double microns)
{
    return std::lround(10.0 * microns);
}

// What saving images asks. Never deleted, since that would save it as the user's own.
void MakePreferences(sim::test::TempDirectory const & directory)
{
    wxString const profiles =
        directory.Write("profiles.ini", "Truth=" VELM_RIG_DIR "/optics;" VELM_RIG_DIR "/hw/simulated.ini\n");
    VELM_Preferences::CreateInstance(directory.Write(
        "velm.ini", "EnableCompression=0\nPluginDir=/none\nAcqModeDir=/none\nDriverDir=" VELM_SIM_DRIVER_DIR
                    "\nProfileFile=" +
                        profiles.utf8_string() + "\n"));
}

} // namespace

Rig::Rig(unsigned long seed, std::string const & lines,
         std::map<std::string, std::string> const & marker_lines)
{
    std::string ini = HardwareIni("Seed=" + std::to_string(seed) + "\n" + lines);
    for (auto const & [marker, more] : marker_lines) {
        std::string const section = "[Simulation/" + marker + "]\n";
        ini.insert(ini.find(section) + section.size(), more);
    }
    BuildFrom(ini).Init();
    Require(_base->IsOK(), "starting the simulated microscope");
    wxFileConfig config("", "", _ini, "", wxCONFIG_USE_RELATIVE_PATH, wxConvAuto());
    config.SetPath("/Simulation");
    _config = sim::ReadConfig(config, _db);
    MakePreferences(_dir);
}

void Rig::GoTo(double x, double y, double z)
{
    _base->Stage_SetPos(Tenths(x), Tenths(y));
    _base->ZDrive_SetPos(Tenths(z));
    _base->Stage_WaitPos();
    _base->ZDrive_WaitPos();
}

void Rig::Use(VELM_Channel & channel)
{
    _base->Channel_Set(channel, &_db);
    _base->Channel_Wait();
    _base->Camera_Set(channel.GetCameraSetting(), nullptr);
}

Image Rig::TakeStack(VELM_Channel const & channel, unsigned int slices, double step)
{
    Image stack;
    long const middle = _base->ZDrive_GetCurPos();
    long const first = middle - static_cast<long>(slices - 1) * Tenths(step) / 2;
    for (unsigned int z = 0; z < slices; ++z) {
        _base->ZDrive_SetPos(first + static_cast<long>(z) * Tenths(step));
        _base->ZDrive_WaitPos();
        Image const frame = TakeFrame();
        if (z == 0) {
            stack.MakeRoom(frame.GetSizeX(), frame.GetSizeY(), slices);
        }
        std::copy(frame.begin(), frame.end(), stack.GetVoxelAddr(0, 0, z));
    }
    _base->Shutter_RequestClose();
    _base->ZDrive_SetPos(middle);
    _base->ZDrive_WaitPos();
    _base->AlterImageOffsetAndResolution(stack, channel.GetCameraSetting(),
                                         std::max(1, static_cast<int>(Tenths(step))));
    return stack;
}

Picture Rig::LastScene(int binning)
{
    auto const last_mean = Exported<decltype(&velm_sim_last_mean)>("velm_sim_last_mean");
    Require(last_mean != nullptr, "finding what the driver exports");
    unsigned int width = 0;
    std::vector<float> electrons(last_mean(nullptr, 0, &width));
    Require(width > 0, "taking a frame before asking for its truth");
    last_mean(electrons.data(), static_cast<unsigned int>(electrons.size()), nullptr);
    Picture scene{width, electrons.size() / width, std::vector<double>(electrons.size())};
    double const units = std::ldexp(1.0, _config.camera.bit_depth) / _config.camera.full_well;
    for (std::size_t i = 0; i < electrons.size(); ++i) {
        std::size_t const row = i / width;
        double const x = (static_cast<double>(i % width) + 0.5) * binning;
        double const y = (static_cast<double>(row) + 0.5) * binning;
        double const light = _config.vignetting.At(x, y, _config.camera.width, _config.camera.height);
        scene.values[i] = _config.camera.offset + units * static_cast<double>(electrons[i]) / light;
    }
    return scene;
}

void Rig::CheckLog() const
{
    for (std::string const & text : _log.Texts('E')) {
        throw std::runtime_error("an error was logged: " + text);
    }
}

Store::Store(Rig & rig) : _depository(rig.PathOf("depository"), &rig.Database())
{
    Require(_depository.Open(), "opening a depository");
}

void Store::Add(VELM_Channel & channel)
{
    VELM_ChannelList & channels = _depository.GetChannelListRef();
    channels.Add(channel);
    VELM_Channel & added = channels.Get(channels.GetCount() - 1);
    wxArrayInt with_images;
    if (added.GetCalibImage() != nullptr) {
        with_images.Add(static_cast<int>(added.GetId()));
    }
    Require(_depository.SaveChannels(&with_images), "saving channels");
    channel = added;
}

long Store::Save(std::vector<Content> const & contents)
{
    long const id = _depository.FOV_GetLastID() + 1;
    VELM_FOV fov;
    for (Content const & content : contents) {
        long const channel_id = content.channel->GetId();
        fov.AddChannel(*content.channel);
        fov.SetCorrSettingsById(channel_id, content.corrections);
        fov.SetNumSlices(content.stack->GetSizeZ());
        Require(_depository.FOV_SaveImage(id, channel_id, *content.stack), "storing a stack");
    }
    Require(_depository.FOV_Save(fov) && fov.GetId() == id, "storing a field of view");
    return id;
}

VELM_BC_Mixer Store::MixerOf(long fov_id, std::vector<long> const & chosen_ids)
{
    VELM_BC_Mixer mixer(&_depository);
    mixer.SetCorrection(true);
    mixer.SetCorrOptions(every_option);
    wxArrayLong ids;
    for (long const id : chosen_ids) {
        ids.Add(id);
    }
    Require(mixer.SetSource(fov_id) && mixer.SetChannels(ids, false), "loading a field of view");
    return mixer;
}

Image Store::Corrected(long fov_id, std::vector<long> const & chosen_ids, long channel_id)
{
    Image image;
    Require(MixerOf(fov_id, chosen_ids).GetChannel(channel_id, nullptr, image, -1), "mixing a channel");
    return image;
}

} // namespace velm::bench
