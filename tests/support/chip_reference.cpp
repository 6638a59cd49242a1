#include "support/chip_reference.h"

#include <algorithm>

namespace velm::test {

void ChipReference::Add(Image const & image, vexa::Vector3d<int> const & first,
                        vexa::Vector3d<int> const & sampling)
{
    Channel channel{&image, {}};
    for (unsigned int axis = 0; axis < 3; ++axis) {
        Line & line = channel.voxels[axis];
        line.fill(nothing);
        int chip = first[axis];
        for (unsigned int voxel = 0; voxel < image.size[axis]; ++voxel) {
            for (int pixel = 0; pixel < sampling[axis]; ++pixel, ++chip) {
                line.at(PlaceOf(chip)) = static_cast<int>(voxel);
            }
        }
    }
    _channels.push_back(channel);
}

vexa::Vector3d<unsigned int> ChipReference::Picture::Size() const
{
    return {static_cast<unsigned int>(begins[0].size()), static_cast<unsigned int>(begins[1].size()),
            static_cast<unsigned int>(begins[2].size())};
}

std::vector<int> ChipReference::Common(unsigned int axis) const
{
    std::vector<int> common;
    for (int chip = -margin; chip < margin; ++chip) {
        if (std::all_of(_channels.begin(), _channels.end(),
                        [=](Channel const & channel) { return channel.At(axis, chip) != nothing; })) {
            common.push_back(chip);
        }
    }
    return common;
}

int ChipReference::StepFrom(int first, unsigned int axis) const
{
    for (int step = coarsest; step > 1; --step) {
        bool fits = true;
        for (Channel const & channel : _channels) {
            for (int chip = 1 - margin; chip < margin; ++chip) {
                bool const is_edge = channel.At(axis, chip) != channel.At(axis, chip - 1);
                fits = fits && (!is_edge || (chip - first) % step == 0);
            }
        }
        if (fits) {
            return step;
        }
    }
    return 1;
}

ChipReference::Picture ChipReference::Show(int slice, wxRect const * rect) const
{
    Picture picture;
    for (unsigned int axis = 0; axis < 3; ++axis) {
        std::vector<int> const common = Common(axis);
        if (common.empty()) {
            return {};
        }
        int const step = axis == 2 ? 1 : StepFrom(common.front(), axis);
        picture.step[axis] = step;
        for (int pixel = 0; common.front() + pixel * step <= common.back(); ++pixel) {
            bool const is_wanted = axis == 2         ? slice == -1 || pixel == slice
                                   : rect == nullptr ? true
                                   : axis == 0       ? pixel >= rect->x && pixel < rect->x + rect->width
                                                     : pixel >= rect->y && pixel < rect->y + rect->height;
            if (is_wanted) {
                picture.begins[axis].push_back(common.front() + pixel * step);
            }
        }
    }
    return picture;
}

unsigned short ChipReference::Voxel(std::size_t channel, Picture const & picture, unsigned int x,
                                    unsigned int y, unsigned int z) const
{
    Channel const & shown = _channels[channel];
    return shown.image->GetVoxel(static_cast<unsigned int>(shown.At(0, picture.begins[0][x])),
                                 static_cast<unsigned int>(shown.At(1, picture.begins[1][y])),
                                 static_cast<unsigned int>(shown.At(2, picture.begins[2][z])));
}

vexa::Box ChipReference::Part(std::size_t channel, Picture const & picture) const
{
    vexa::Box part;
    for (unsigned int axis = 0; axis < 3; ++axis) {
        int const first = _channels[channel].At(axis, picture.begins[axis].front());
        int const last = _channels[channel].At(axis, picture.begins[axis].back());
        part.offset[axis] = first;
        part.size[axis] = static_cast<unsigned int>(last - first + 1);
    }
    return part;
}

} // namespace velm::test
