// The channels of a depository, channels.cfg.

#include "fuzz_record.h"
#include "velm_channel.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::LoadAndSettle(
        data, size, velm::VELM_ChannelList(),
        [](auto & channels, auto &&... surroundings) { return channels.Load(surroundings..., false, true); },
        [](auto & channels, auto &&... surroundings) { return channels.Save(surroundings..., nullptr); });
    return 0;
}
