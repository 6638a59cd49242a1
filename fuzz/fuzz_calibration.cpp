// The description of a calibration image, ci_0001.txt.

#include "fuzz_record.h"
#include "velm_calib_img.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::LoadAndSettle(
        data, size, velm::VELM_Calibration_Image(),
        [](auto & image, wxFileConfig & config, auto &&...) { return image.LoadDesc(config); },
        [](auto & image, wxFileConfig & config, auto &&...) { return image.SaveDesc(config); });
    return 0;
}
