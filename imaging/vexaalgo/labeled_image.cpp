#include "vexaalgo/labeled_image.h"

#include "vexacore/file_io.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <libdeflate.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vexa {

namespace {

// The ".l3d" file: see docs/formats/l3d.md.
constexpr std::string_view version_line = "velm labels 1\n";

constexpr unsigned int all_pages = 0xFFFFFFFFU;

// One line of a component is at most 99 characters, and there are at most 65,535 of them.
constexpr std::uint64_t largest_table_file = std::uint64_t{8} << 20;

std::uint32_t Checksum(std::string_view table, void const * voxels, std::size_t bytes)
{
    return libdeflate_crc32(libdeflate_crc32(0, table.data(), table.size()), voxels, bytes);
}

template <typename Component>
std::string TableText(Vector3d<int> const & displacement, std::vector<Component> const & components)
{
    std::string text = "displacement";
    for (unsigned int i = 0; i < 3; ++i) {
        text += ' ' + std::to_string(displacement[i]);
    }
    text += "\ncomponents " + std::to_string(components.size()) + '\n';
    for (Component const & component : components) {
        text += std::to_string(component.label);
        for (unsigned int i = 0; i < 3; ++i) {
            text += ' ' + std::to_string(component.box.offset[i]);
        }
        for (unsigned int i = 0; i < 3; ++i) {
            text += ' ' + std::to_string(component.box.size[i]);
        }
        text += ' ' + std::to_string(component.voxels) + '\n';
    }
    return text;
}

// Takes words and numbers off the front of a text. Once something didn't fit, nothing more does.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : _text(text) {}

    bool IsGood() const { return _good; }
    std::string_view GetRest() const { return _text; }

    void Take(std::string_view word)
    {
        _good = _good && _text.substr(0, word.size()) == word;
        _text.remove_prefix(_good ? word.size() : 0);
    }

    template <typename Number>
    Number TakeNumber(int base = 10)
    {
        Number number{};
        auto const result = std::from_chars(_text.data(), _text.data() + _text.size(), number, base);
        _good = _good && result.ec == std::errc();
        _text.remove_prefix(_good ? static_cast<std::size_t>(result.ptr - _text.data()) : 0);
        return number;
    }

  private:
    std::string_view _text;
    bool _good = true;
};

template <typename Component>
struct Table {
    Vector3d<int> displacement;
    std::vector<Component> components;
};

// Nothing when the text is not a table, or not the one of these voxels.
template <typename Component>
std::optional<Table<Component>> ParseTable(std::string_view text, void const * voxels, std::size_t bytes)
{
    Scanner scanner(text);
    scanner.Take(version_line);
    scanner.Take("checksum ");
    auto const checksum = scanner.TakeNumber<std::uint32_t>(16);
    scanner.Take("\n");
    if (!scanner.IsGood() || checksum != Checksum(scanner.GetRest(), voxels, bytes)) {
        return std::nullopt;
    }
    Table<Component> table;
    scanner.Take("displacement");
    for (unsigned int i = 0; i < 3; ++i) {
        scanner.Take(" ");
        table.displacement[i] = scanner.TakeNumber<int>();
    }
    scanner.Take("\ncomponents ");
    auto const count = scanner.TakeNumber<std::uint32_t>();
    scanner.Take("\n");
    for (std::uint32_t line = 0; line < count && scanner.IsGood(); ++line) {
        Component component;
        component.label = scanner.TakeNumber<decltype(component.label)>();
        for (unsigned int i = 0; i < 3; ++i) {
            scanner.Take(" ");
            component.box.offset[i] = scanner.TakeNumber<int>();
        }
        for (unsigned int i = 0; i < 3; ++i) {
            scanner.Take(" ");
            component.box.size[i] = scanner.TakeNumber<unsigned int>();
        }
        scanner.Take(" ");
        component.voxels = scanner.TakeNumber<std::uint64_t>();
        scanner.Take("\n");
        table.components.push_back(component);
    }
    if (!scanner.IsGood() || !scanner.GetRest().empty()) {
        return std::nullopt;
    }
    return table;
}

// A missing or unreadable file is no failure: the voxels tell the same.
std::string ReadTableFile(std::string const & path)
{
    try {
        return InputFile(path.c_str()).ReadAll(largest_table_file);
    } catch (IOException const &) {
        return {};
    }
}

// Bounds of one component while the voxels are scanned.
struct Extent {
    Vector3d<unsigned int> first;
    Vector3d<unsigned int> last;
    std::uint64_t voxels = 0;

    void Add(unsigned int x, unsigned int x_end, unsigned int y, unsigned int z)
    {
        if (voxels == 0) {
            first = {x, y, z};
            last = {x_end - 1, y, z};
        }
        first.x = std::min(first.x, x);
        first.y = std::min(first.y, y);
        last.x = std::max(last.x, x_end - 1);
        last.y = std::max(last.y, y);
        last.z = z; // slices come in ascending order
        voxels += x_end - x;
    }
};

template <typename Component, typename TLabel>
std::vector<Component> FindComponents(Image3d<TLabel> const & image)
{
    TLabel const * const highest = std::max_element(image.begin(), image.end());
    std::vector<Extent> extents(highest == image.end() ? 1 : std::size_t{*highest} + 1);
    for (unsigned int z = 0; z < image.size.z; ++z) {
        for (unsigned int y = 0; y < image.size.y; ++y) {
            TLabel const * const row = image.GetVoxelAddr(0, y, z);
            for (unsigned int x = 0; x < image.size.x;) {
                unsigned int const begin = x;
                TLabel const label = row[begin];
                while (++x < image.size.x && row[x] == label) {
                }
                if (label != 0) {
                    extents[label].Add(begin, x, y, z);
                }
            }
        }
    }
    std::vector<Component> components;
    for (std::size_t label = 0; label < extents.size(); ++label) {
        Extent const & extent = extents[label];
        if (extent.voxels > 0) {
            Component component;
            component.label = static_cast<TLabel>(label);
            component.voxels = extent.voxels;
            for (unsigned int i = 0; i < 3; ++i) {
                component.box.offset[i] = static_cast<int>(extent.first[i]);
                component.box.size[i] = extent.last[i] - extent.first[i] + 1;
            }
            components.push_back(component);
        }
    }
    return components;
}

} // namespace

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask>::LabeledImage3d(Vector3d<float> const * world_offset, Resolution const * res)
    : Image3d<TLabel>(world_offset, res)
{
}

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask>::LabeledImage3d(LabeledImage3d const &) = default;

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask>::LabeledImage3d(LabeledImage3d &&) noexcept = default;

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask> & LabeledImage3d<TLabel, TMask>::operator=(LabeledImage3d const &) = default;

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask> &
LabeledImage3d<TLabel, TMask>::operator=(LabeledImage3d &&) noexcept = default;

template <typename TLabel, typename TMask>
LabeledImage3d<TLabel, TMask>::~LabeledImage3d() = default;

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::ReadImage(char const * path, Box const * box, bool keep_geometry,
                                              unsigned int page)
{
    std::string const name = path;
    LabeledImage3d result(&this->offset, &this->resolution);
    result.Image3d<TLabel>::ReadImage((name + ".ics").c_str(), box, keep_geometry, static_cast<int>(page),
                                      nullptr, nullptr);
    auto table = ParseTable<Component>(ReadTableFile(name + ".l3d"), result.begin(),
                                       result.GetCount() * sizeof(TLabel));
    if (table) {
        result.SetTable(std::move(table->components));
        result._displacement = table->displacement;
    } else {
        result.UpdateComponents();
    }
    if (box != nullptr) {
        result._displacement += box->offset;
    }
    if (page != all_pages) {
        result._displacement.z += static_cast<int>(page);
    }
    *this = std::move(result);
}

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::SaveImage(char const * path, FileFormat format) const
{
    std::string const name = path;
    if (format != FileFormat::Labeled) {
        throw IOException("Cannot write '" + name + "': not the format of labelled images");
    }
    Image3d<TLabel>::SaveImage((name + ".ics").c_str(), FileFormat::Ics, true, nullptr);
    std::string const table = TableText(_displacement, FindComponents<Component>(*this));
    char checksum[9];
    std::snprintf(checksum, sizeof(checksum), "%08x",
                  Checksum(table, this->begin(), this->GetCount() * sizeof(TLabel)));
    std::string const text = std::string(version_line) + "checksum " + checksum + '\n' + table;
    OutputFile file((name + ".l3d").c_str());
    file.Write(text.data(), text.size());
    file.Commit();
}

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::SetComponents(std::vector<Component> components)
{
    std::sort(components.begin(), components.end(),
              [](Component const & a, Component const & b) { return a.label < b.label; });
    SetTable(std::move(components));
}

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::UpdateComponents()
{
    SetTable(FindComponents<Component>(*this));
}

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::SetTable(std::vector<Component> components)
{
    _components = std::move(components);
    _max_label = _components.empty() ? 0U : _components.back().label;
}

template <typename TLabel, typename TMask>
unsigned int LabeledImage3d<TLabel, TMask>::FindAndSetMaxLabel()
{
    TLabel lowest = 0;
    TLabel highest = 0;
    this->GetRange(lowest, highest);
    _max_label = std::max<unsigned int>(highest, _components.empty() ? 0U : _components.back().label);
    return _max_label;
}

template <typename TLabel, typename TMask>
void LabeledImage3d<TLabel, TMask>::RemoveComponent(TLabel label)
{
    if (label == 0) {
        return;
    }
    auto const found =
        std::lower_bound(_components.begin(), _components.end(), label,
                         [](Component const & component, TLabel wanted) { return component.label < wanted; });
    bool const is_listed = found != _components.end() && found->label == label;
    // A component that was written since the list was made may be anywhere.
    Box const box = is_listed ? found->box : Box(0, 0, 0, this->size.x, this->size.y, this->size.z);
    auto const inside = [](int begin, unsigned int length, unsigned int limit) {
        auto const clip = [limit](std::int64_t position) {
            return static_cast<unsigned int>(std::clamp<std::int64_t>(position, 0, limit));
        };
        return std::pair(clip(begin), clip(std::int64_t{begin} + length));
    };
    // A list of components that was set by hand may reach beyond the voxels.
    auto const [x_first, x_end] = inside(box.offset.x, box.size.x, this->size.x);
    auto const [y_first, y_end] = inside(box.offset.y, box.size.y, this->size.y);
    auto const [z_first, z_end] = inside(box.offset.z, box.size.z, this->size.z);
    for (unsigned int z = z_first; z < z_end; ++z) {
        for (unsigned int y = y_first; y < y_end; ++y) {
            TLabel * const row = this->GetVoxelAddr(0, y, z);
            std::replace(row + x_first, row + x_end, label, TLabel(0));
        }
    }
    if (is_listed) {
        _components.erase(found);
    }
}

template class VEXA_API LabeledImage3d<unsigned short, bool>;

} // namespace vexa
