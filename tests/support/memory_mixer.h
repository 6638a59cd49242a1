#ifndef TESTS_SUPPORT_MEMORY_MIXER_H
#define TESTS_SUPPORT_MEMORY_MIXER_H

#include "drivers/base/general_camera_setting.h"
#include "velm_mixer.h"

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velm::test {

// How a channel of a mixer in memory was taken.
struct ChannelGeometry {
    long id = 1;
    int sbin = 1;
    int pbin = 1;
    int s1 = -1; // of the region, in sensor pixels; -1 for the full frame
    int p1 = -1;
};

// A mixer whose images lie in memory, in place of files. Base: VELM_FOV_Mixer, or one that corrects; its
// field of view holds the channels.
template <typename Base>
class MemoryMixer : public Base {
  public:
    using typename Base::Image;

    explicit MemoryMixer(VELM_Depository * depository = nullptr) : Base(depository) {}

    // Ids have to come in ascending order.
    void Add(ChannelGeometry const & geometry, Image const & image)
    {
        VELM_Channel channel("Channel", 0, 0, 0);
        channel.SetId(geometry.id);
        channel.TakeCameraSetting(new VELM_GeneralCameraSetting("None", geometry.sbin, geometry.pbin,
                                                                geometry.s1, geometry.s1, geometry.p1,
                                                                geometry.p1, 1, 12, 10, 4096, 4096));
        this->GetFOV().AddChannel(channel);
        images[geometry.id] = image;
    }

    // Chooses all channels, by ascending id.
    bool SetAllChannels(bool use_af = false)
    {
        wxArrayLong ids;
        this->GetChannelList().GetIdList(ids);
        return this->SetChannels(ids, use_af);
    }

    bool ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & res,
                            vexa::Vector3d<float> & offset) override
    {
        auto const image = images.find(id);
        if (image == images.end()) {
            return false;
        }
        size = image->second.size;
        res = image->second.resolution.GetRes();
        offset = image->second.offset;
        size.z = this->_use_af ? 1 : size.z;
        return true;
    }

    bool LoadImage(long id, vexa::Box * voi, Image & image) override
    {
        calls.push_back("LoadImage " + std::to_string(id));
        boxes[id] = *voi;
        auto const stored = images.find(id);
        if (stored == images.end()) {
            return false;
        }
        bool const is_whole = voi->offset == vexa::Vector3d<int>() && voi->size == stored->second.size;
        image = Image(stored->second, is_whole ? nullptr : voi);
        return true;
    }

    std::map<long, Image> images; // by channel

    std::vector<std::string> calls;  // of LoadImage, in order, and of what a derivative adds
    std::map<long, vexa::Box> boxes; // that LoadImage was last asked for
};

} // namespace velm::test

#endif
