#ifndef VEXACORE_GEOMETRY_H
#define VEXACORE_GEOMETRY_H

#include "vexacore/export.h"

#include <iosfwd>

namespace vexa {

// Three components in the order x, y, z; value-initialised to 0.
template <typename T>
struct Vector3d {
    T x{};
    T y{};
    T z{};

    Vector3d() = default;
    Vector3d(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    // Component 0, 1 or 2 (x, y, z); any other index is a fault of the caller.
    T & operator[](unsigned int i) { return i == 0 ? x : i == 1 ? y : z; }
    T const & operator[](unsigned int i) const { return i == 0 ? x : i == 1 ? y : z; }

    Vector3d & operator+=(Vector3d const & other)
    {
        x += other.x;
        y += other.y;
        z += other.z;
        return *this;
    }

    Vector3d & operator-=(Vector3d const & other)
    {
        x -= other.x;
        y -= other.y;
        z -= other.z;
        return *this;
    }

    bool operator==(Vector3d const & other) const { return x == other.x && y == other.y && z == other.z; }
    bool operator!=(Vector3d const & other) const { return !(*this == other); }
};

// Reads three numbers with blanks or commas between them; round, square or curly brackets around them are
// allowed. Sets the stream's fail bit and leaves the vector as it was when the text is anything else.
VEXA_API std::istream & operator>>(std::istream & in, Vector3d<float> & vector);

// Names the two component types of a box: A of its offset, B of its size.
template <typename A, typename B>
struct T_pair {
    using First = A;
    using Second = B;
};

template <typename Pair>
struct VOI;

// A box of voxels inside an image: its first voxel and its number of voxels, per axis.
template <typename A, typename B>
struct VOI<T_pair<A, B>> {
    Vector3d<A> offset;
    Vector3d<B> size;

    VOI() = default;
    VOI(A x, A y, A z, B size_x, B size_y, B size_z) : offset(x, y, z), size(size_x, size_y, size_z) {}
};

// The box type that all image operations take.
using Box = VOI<T_pair<int, unsigned int>>;

// Voxels per micron on each axis. A default-built resolution is undefined: its values are 0, a file is
// written without a scale, and a file without a scale gives it back.
class Resolution {
  public:
    Resolution() = default;
    Resolution(float x, float y, float z) : _values(x, y, z), _defined(true) {}
    explicit Resolution(Vector3d<float> const & values) : _values(values), _defined(true) {}

    Vector3d<float> GetRes() const { return _values; }
    bool IsDefined() const { return _defined; }

  private:
    Vector3d<float> _values;
    bool _defined = false;
};

} // namespace vexa

#endif
