#ifndef VEXAALGO_LABELED_IMAGE_H
#define VEXAALGO_LABELED_IMAGE_H

#include "vexacore/image3d.h"

#include <cstdint>
#include <vector>

namespace vexa {

// A labelled image of connected components: each voxel that is not 0 bears its component's label.
//
// Beside the voxels, which it inherits, the image knows its components and where it lies inside the image
// that it was cut from. The components follow reading and RemoveComponent by themselves; after writing voxels
// directly, call UpdateComponents. TLabel is unsigned short; TMask, bool, is the element of tables that are
// indexed by label.
template <typename TLabel, typename TMask>
class VEXA_API LabeledImage3d : public Image3d<TLabel> {
  public:
    using Mask = TMask;

    struct Component {
        TLabel label = 0;         // never 0
        Box box;                  // the smallest that holds all voxels, in voxels of this image
        std::uint64_t voxels = 0; // at least 1

        bool operator==(Component const & other) const
        {
            return label == other.label && box.offset == other.box.offset && box.size == other.box.size &&
                   voxels == other.voxels;
        }
    };

    explicit LabeledImage3d(Vector3d<float> const * world_offset = nullptr, Resolution const * res = nullptr);
    LabeledImage3d(LabeledImage3d const &);
    LabeledImage3d(LabeledImage3d &&) noexcept;
    LabeledImage3d & operator=(LabeledImage3d const &);
    LabeledImage3d & operator=(LabeledImage3d &&) noexcept;
    ~LabeledImage3d() override;

    // Reads <path>.ics, or only the box of it when box is not null; keep_geometry and page are those of
    // Image3d, with 0xFFFFFFFF for all slices. The components of a whole image come from <path>.l3d; they are
    // made from the voxels when that file is missing, damaged or doesn't belong to the voxels, and always for
    // a part. Throws IOException on failure, leaving the image as it was.
    void ReadImage(char const * path, Box const * box, bool keep_geometry, unsigned int page);

    // Writes <path>.ics, compressed, and <path>.l3d with the components of the voxels as they are now.
    // Throws IOException on failure, also when the format is another than FileFormat::Labeled.
    void SaveImage(char const * path, FileFormat format) const;

    // Sorted by label.
    std::vector<Component> const & GetComponents() const { return _components; }
    void SetComponents(std::vector<Component> components);

    // Makes the list of components from the voxels.
    void UpdateComponents();

    // Finds the highest label of the voxels and of the list of components, keeps it and returns it; 0 when
    // there is none.
    unsigned int FindAndSetMaxLabel();

    // What FindAndSetMaxLabel, reading or UpdateComponents found last.
    unsigned int GetMaxLabel() const { return _max_label; }

    // Sets the voxels of that component to 0 and strikes it off the list: the voxels in the box that the list
    // gives, or in the whole image when the list lacks the label. Nothing when there is none, or for 0. The
    // highest label stays what it was.
    void RemoveComponent(TLabel label);

    // Where this image's first voxel lies in the image that it is a part of; all 0 for one that is no part.
    Vector3d<int> GetDisplacement() const { return _displacement; }
    void SetDisplacement(Vector3d<int> const & displacement) { _displacement = displacement; }

  private:
    void SetTable(std::vector<Component> components);

    std::vector<Component> _components; // sorted by label, no label twice
    unsigned int _max_label = 0;
    Vector3d<int> _displacement;
};

} // namespace vexa

#endif
