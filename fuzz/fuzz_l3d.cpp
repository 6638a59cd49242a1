// The table of components beside a labelled image. The bytes are the table behind its checksum, which is made
// to fit: no input would get past it otherwise. A last byte that is odd makes it not fit.

#include "fuzz_input.h"
#include "vexaalgo/labeled_image.h"
#include "vexacore/exceptions.h"

#include <libdeflate.h>

namespace {

using Labels = vexa::LabeledImage3d<unsigned short, bool>;

// An image of three components, written once.
Labels const & Stored()
{
    static Labels const labels = [] {
        Labels image;
        image.MakeRoom(6, 5, 3);
        image.resolution = vexa::Resolution(1.0F, 1.0F, 1.0F);
        for (unsigned int i = 0; i < 90; ++i) {
            image.SetVoxel(i, static_cast<unsigned short>(i < 7              ? 1
                                                          : i > 40 && i < 60 ? 5
                                                          : i > 80           ? 900
                                                                             : 0));
        }
        image.UpdateComponents();
        image.SaveImage((velm::fuzz::Input::Get().GetDirectory() + "/labels").c_str(),
                        vexa::FileFormat::Labeled);
        return image;
    }();
    return labels;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    Labels const & stored = Stored();
    std::uint32_t checksum =
        libdeflate_crc32(libdeflate_crc32(0, data, size), stored.begin(), 2 * stored.GetCount());
    if (size > 0 && data[size - 1] % 2 == 1) {
        ++checksum;
    }
    char head[64];
    std::snprintf(head, sizeof head, "velm labels 1\nchecksum %08x\n", checksum);
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    input.Write("labels.l3d", head + std::string(reinterpret_cast<char const *>(data), size));
    Labels labels;
    labels.ReadImage((input.GetDirectory() + "/labels").c_str(), nullptr, false, 0xFFFFFFFFU);
    auto const components = labels.GetComponents();
    for (auto const & component : components) {
        labels.RemoveComponent(component.label);
    }
    labels.FindAndSetMaxLabel();
    return 0;
}
