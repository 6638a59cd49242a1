#include "velm_bc_mixer.h"

#include "velm_calib_img.h"
#include "velm_flat_field.h"
#include "velm_log_macros.h"
#include "vexaalgo/chromatic.h"
#include "vexaalgo/illumination.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <utility>

namespace velm {

namespace {

// How much of a common area chromatic corrections spoil at each end, in chip pixels.
struct Cut {
    vexa::Vector3d<unsigned int> low;
    vexa::Vector3d<unsigned int> high;

    void Add(VELM_MixerChannelParams const & channel, vexa::ChromAberParams const & surface,
             vexa::Vector3d<float> const & scale)
    {
        vexa::Vector3d<unsigned int> size;
        vexa::Vector3d<float> position;
        vexa::Vector3d<float> resolution;
        for (unsigned int axis = 0; axis < 3; ++axis) {
            int const sampling = channel.sampling[axis];
            size[axis] = static_cast<unsigned int>(
                (channel.adjusted_last[axis] - channel.adjusted_first[axis] + 1) / sampling);
            position[axis] = static_cast<float>(channel.adjusted_first[axis]) / scale[axis];
            resolution[axis] = scale[axis] / static_cast<float>(sampling);
        }
        vexa::Vector3d<unsigned int> first;
        vexa::Vector3d<unsigned int> last;
        vexa::GetCuttingPosition(position, vexa::Resolution(resolution), size, surface, first, last);
        for (unsigned int axis = 0; axis < 3; ++axis) {
            auto const sampling = static_cast<unsigned int>(channel.sampling[axis]);
            low[axis] = std::max(low[axis], sampling * first[axis]);
            high[axis] = std::max(high[axis], sampling * (size[axis] - last[axis] - 1));
        }
    }
};

// Every slice by the calibration image of its size.
void DivideSlices(vexa::Image3d<unsigned short> const & calibration, double mean,
                  vexa::Image3d<unsigned short> & image)
{
    // So many pixels go through all slices at a time: enough to be read in long runs, few enough to stay in
    // the cache.
    constexpr std::size_t run = 1 << 14;
    std::size_t const pixels = calibration.GetCount();
    vexa::ParallelFor((pixels + run - 1) / run, [&](std::size_t number) {
        std::size_t const begin = number * run;
        FlatField field(mean);
        field.SetDivisors(calibration.begin() + begin, std::min(run, pixels - begin));
        for (unsigned int z = 0; z < image.GetSizeZ(); ++z) {
            field.Apply(image.GetVoxelAddr(0, 0, z) + begin);
        }
    });
}

} // namespace

VELM_BC_Mixer::VELM_BC_Mixer(VELM_Depository * depository) : VELM_FOV_Mixer(depository) {}

VELM_BC_Mixer::~VELM_BC_Mixer() = default;

VELM_CorrectionSettings const * VELM_BC_Mixer::FindCorrections(long id)
{
    return GetChannelList().Contains(id) ? &GetFOV().GetCorrSettingsById(id) : nullptr;
}

vexa::Vector3d<long long> VELM_BC_Mixer::ShiftOf(long id)
{
    vexa::Vector3d<long long> shift;
    auto const add = [&](VELM_ShiftCorrection const & correction, Option option) {
        for (unsigned int axis = 0; axis < 3 && TakesPart(correction, option); ++axis) {
            shift[axis] += correction.GetShift()[axis];
        }
    };
    if (VELM_CorrectionSettings const * const corrections = FindCorrections(id)) {
        add(*corrections->GetManualShiftCorrection(), MANUAL_SHIFT);
        add(*corrections->GetAutomaticShiftCorrection(), AUTOMATIC_SHIFT);
    }
    return shift;
}

void VELM_BC_Mixer::AdjustParams()
{
    if (!_corrected || _ids.empty()) {
        return;
    }
    vexa::Vector3d<long long> const reference = ShiftOf(_ids[0]);
    for (std::size_t i = 1; i < _ids.size(); ++i) {
        vexa::Vector3d<long long> shift = ShiftOf(_ids[i]);
        shift -= reference;
        if (_use_af) {
            shift.z = 0;
        }
        VELM_MixerChannelParams & channel = _channels[i];
        for (unsigned int axis = 0; axis < 3; ++axis) {
            channel.adjusted_first[axis] = Clamped(channel.adjusted_first[axis] + shift[axis]);
            channel.adjusted_last[axis] = Clamped(channel.adjusted_last[axis] + shift[axis]);
        }
    }
}

bool VELM_BC_Mixer::RecomputeOutputParams(VELM_MixerOutputParams & out)
{
    if (!_corrected) {
        return true;
    }
    Cut cut;
    for (std::size_t i = 0; i < _ids.size(); ++i) {
        VELM_CorrectionSettings const * const corrections = FindCorrections(_ids[i]);
        if (corrections != nullptr && corrections->GetChromAberCorrection()->IsApplied()) {
            cut.Add(_channels[i], corrections->GetChromAberCorrection()->GetSurface(), _scale);
        }
    }
    bool is_left = true;
    for (unsigned int axis = 0; axis < 3; ++axis) {
        auto const step = static_cast<unsigned int>(out.step[axis]);
        out.first[axis] = Clamped(static_cast<long long>(out.first[axis]) + cut.low[axis] / step);
        out.last[axis] = Clamped(static_cast<long long>(out.last[axis]) - cut.high[axis] / step);
        is_left = is_left && out.first[axis] <= out.last[axis];
    }
    return is_left;
}

void VELM_BC_Mixer::PreprocessImage(long id, Image & image)
{
    VELM_CorrectionSettings const * const corrections = _corrected ? FindCorrections(id) : nullptr;
    if (corrections == nullptr) {
        return;
    }
    VELM_IlluminationCorrection const & illumination = *corrections->GetIlluminationCorrection();
    VELM_ChromAberCorrection const & chromatic = *corrections->GetChromAberCorrection();
    try {
        if (TakesPart(illumination, ILLUMINATION) && !CorrectIllumination(id, illumination, image)) {
            return;
        }
        if (TakesPart(chromatic, CHROMATIC_ABERRATION)) {
            Image corrected;
            vexa::CorrectChromaticAberration(image, corrected, chromatic.GetSurface(), false);
            image = std::move(corrected);
        }
    } catch (vexa::LibException const & error) { // parameters from the file that nothing can be made of
        VELM_LOG_ERROR("%s: %s", VELM_FUNCTION, detail::ExceptionText(error));
    }
}

bool VELM_BC_Mixer::CorrectIllumination(long id, VELM_IlluminationCorrection const & correction,
                                        Image & image)
{
    switch (correction.GetMethod().Get()) {
    case VELM_IlluminationCorrectionMethod::CALIBRATION_IMAGE:
        return DivideByCalibration(id, image);
    case VELM_IlluminationCorrectionMethod::BSPLINE:
        return DivideByBackground(id, image);
    case VELM_IlluminationCorrectionMethod::HOMOMORPHIC:
        vexa::homFilter(image, image, correction.GetHomFilterParams());
        return true;
    default:
        return true;
    }
}

bool VELM_BC_Mixer::DivideByCalibration(long id, Image & image)
{
    VELM_Calibration_Image * const calibration = GetChannelList().GetById(id).GetCalibImage();
    if (calibration == nullptr || calibration->GetId() < 1) {
        VELM_LOG_ERROR("VELM_BC_Mixer::PreprocessImage: Unknown calibration image for channel %ld", id);
        return false;
    }
    // The place on the chip, whatever the shifts: it is the chip's light that is corrected.
    VELM_MixerChannelParams const * const channel = FindChannel(id);
    Image region;
    if (channel == nullptr ||
        !calibration->GetImageRegion(
            _depository, channel->voi.offset.x * channel->sampling.x + channel->first.x,
            channel->voi.offset.y * channel->sampling.y + channel->first.y,
            static_cast<int>(channel->voi.size.x), static_cast<int>(channel->voi.size.y), &region)) {
        VELM_LOG_ERROR(
            "VELM_BC_Mixer::PreprocessImage: Getting calibration image region failed on channel %ld", id);
        return false;
    }
    if (region.GetSizeX() != image.GetSizeX() || region.GetSizeY() != image.GetSizeY()) {
        VELM_LOG_ERROR(
            "VELM_BC_Mixer::PreprocessImage: Returned calibration image has incompatible sizeon channel %ld",
            id);
        return false;
    }
    DivideSlices(region, calibration->GetMean(), image);
    return true;
}

bool VELM_BC_Mixer::DivideByBackground(long id, Image & image)
{
    constexpr int percentile = 10;
    constexpr int patches = 4; // along each side
    constexpr int degree = 3;
    Image corrected;
    if (!vexa::correctIlluminationBsplineAprox(image, corrected, percentile, patches, patches, degree)) {
        VELM_LOG_ERROR("VELM_BC_Mixer::PreprocessImage: Cannot calibrate channel %ld", id);
        return false;
    }
    image = std::move(corrected);
    return true;
}

} // namespace velm
