#include "nubo/histogram.h"

#include "vexacore/exceptions.h"
#include "vexacore/file_io.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cstring>
#include <libdeflate.h>
#include <limits>
#include <mutex>
#include <string>
#include <utility>
#include <wx/filefn.h>

namespace nubo {

namespace {

constexpr char magic[] = {'N', 'U', 'B', 'O', 'H', 'I', 'S', 'T'};
constexpr std::uint32_t version = 1;

// A run of one counter takes 12 bytes, and no more than every other one can begin a run.
constexpr std::uint64_t largest_file = 1U << 20;

void PutNumber(std::string & out, std::uint32_t number)
{
    for (unsigned int shift = 0; shift < 32; shift += 8) {
        out += static_cast<char>(static_cast<unsigned char>(number >> shift));
    }
}

std::uint32_t NumberAt(std::string const & text, std::size_t position)
{
    std::uint32_t number = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        number |= std::uint32_t{static_cast<unsigned char>(text[position + i])} << (8 * i);
    }
    return number;
}

// Takes numbers off the front of the file's content. Past its end they are 0 and IsGood is false.
class NumberReader {
  public:
    explicit NumberReader(std::string const & content) : _content(content) {}

    std::uint32_t Take()
    {
        if (_content.size() - _position < 4) {
            _good = false;
            return 0;
        }
        _position += 4;
        return NumberAt(_content, _position - 4);
    }

    void Skip(std::size_t bytes) { _position = std::min(_content.size(), _position + bytes); }
    std::size_t GetPosition() const { return _position; }
    bool IsGood() const { return _good; }

  private:
    std::string const & _content;
    std::size_t _position = 0;
    bool _good = true;
};

// The runs of counters that are not 0: how many zeros lie before, how many counters follow, the counters.
void PutRuns(std::string & out, std::vector<std::uint32_t> const & bins)
{
    auto const is_set = [](std::uint32_t counter) { return counter != 0; };
    auto position = bins.begin();
    while (true) {
        auto const begin = std::find_if(position, bins.end(), is_set);
        if (begin == bins.end()) {
            return;
        }
        auto const end = std::find_if_not(begin, bins.end(), is_set);
        PutNumber(out, static_cast<std::uint32_t>(begin - position));
        PutNumber(out, static_cast<std::uint32_t>(end - begin));
        std::for_each(begin, end, [&](std::uint32_t counter) { PutNumber(out, counter); });
        position = end;
    }
}

bool TakeRuns(NumberReader & reader, std::size_t content_end, std::vector<std::uint32_t> & bins)
{
    std::size_t position = 0;
    while (reader.IsGood() && reader.GetPosition() < content_end) {
        std::size_t const zeros = reader.Take();
        std::size_t const length = reader.Take();
        if (zeros > bins.size() - position || length > bins.size() - position - zeros || length == 0) {
            return false;
        }
        position += zeros;
        for (std::size_t i = 0; i < length; ++i) {
            bins[position++] = reader.Take();
        }
    }
    return reader.IsGood();
}

// One counter for each value.
using Counters = std::vector<std::uint32_t>;

constexpr std::size_t all_values = std::size_t{1} << 16;

// So many values are looked at together; of those that are all the same, as many as fill a stretch.
constexpr std::ptrdiff_t group = 64;
constexpr std::ptrdiff_t stretch = 1024;

// Below this number of values clearing counters costs more than it saves.
constexpr std::size_t few = std::size_t{1} << 16;

// What a thread is to count for its counters to be worth the while.
constexpr std::size_t part_length = std::size_t{1} << 20;

bool IsConstant(unsigned short const * values, std::size_t count)
{
    // A few values tell nearly always that others differ; else each is held against its neighbour.
    unsigned short const first = values[0];
    bool const maybe = static_cast<int>(first == values[count / 3]) +
                           static_cast<int>(first == values[count / 2]) +
                           static_cast<int>(first == values[count - 1]) ==
                       3; // one branch, which is foreseen
    return maybe && std::memcmp(values, values + 1, (count - 1) * sizeof(*values)) == 0;
}

void CountGroup(unsigned short const * values, std::uint32_t * even, std::uint32_t * odd)
{
    for (std::ptrdiff_t i = 0; i < group; i += 4) {
        std::uint64_t word = 0; // one fetch for four values; their order doesn't matter
        std::memcpy(&word, values + i, sizeof word);
        ++even[word & 0xFFFF];
        ++odd[(word >> 16) & 0xFFFF];
        ++even[(word >> 32) & 0xFFFF];
        ++odd[word >> 48];
    }
}

// The counters that a thread works with, all 0 between uses. They stay, since handing out and clearing memory
// would take as long as counting a frame.
struct Scratch {
    Counters even{Counters(all_values)};
    Counters odd{Counters(all_values)};

    // Of the thread that calls.
    static Scratch & Get()
    {
        thread_local Scratch scratch;
        return scratch;
    }

    // Neighbours are often equal, and a counter that was just stored is slow to fetch again: so they go to
    // different counters. Values that are all the same, as in a dark or saturated frame, count at once.
    void Count(unsigned short const * values, std::size_t count)
    {
        unsigned short const * const end = values + count;
        while (end - values >= group) {
            std::ptrdiff_t const length =
                end - values >= stretch && IsConstant(values, stretch) ? stretch : group;
            if (length == stretch || IsConstant(values, group)) {
                even[*values] += static_cast<std::uint32_t>(length);
            } else {
                CountGroup(values, even.data(), odd.data());
            }
            values += length;
        }
        std::for_each(values, end, [this](unsigned short value) { ++even[value]; });
    }

    void MoveTo(Counters & bins)
    {
        for (std::size_t value = 0; value < all_values; ++value) {
            bins[value] += even[value] + odd[value];
        }
        std::fill(even.begin(), even.end(), 0U);
        std::fill(odd.begin(), odd.end(), 0U);
    }
};

} // namespace

template <typename T>
Histogram<T>::Histogram() = default;

template <typename T>
Histogram<T>::Histogram(Histogram const &) = default;

template <typename T>
Histogram<T>::Histogram(Histogram &&) noexcept = default;

template <typename T>
Histogram<T> & Histogram<T>::operator=(Histogram const &) = default;

template <typename T>
Histogram<T> & Histogram<T>::operator=(Histogram &&) noexcept = default;

template <typename T>
Histogram<T>::~Histogram() = default;

template <typename T>
void Histogram<T>::Init(T low, T high, std::size_t bins)
{
    if (low > high || bins == 0 || bins > static_cast<std::size_t>(high - low) + 1) {
        throw vexa::InternalException("The bins of a histogram don't fit its range");
    }
    _bins.assign(bins, 0);
    _low = low;
    _high = high;
}

template <typename T>
void Histogram<T>::Count(T const * values, std::size_t count)
{
    if (count < few) {
        std::for_each(values, values + count, [this](T value) { ++_bins[GetBinPos(value)]; });
        return;
    }
    if (_bins.size() != all_values) {
        Histogram all;
        all.Init(0, std::numeric_limits<T>::max(), all_values);
        all.Count(values, count);
        for (std::size_t value = 0; value < all_values; ++value) {
            _bins[GetBinPos(static_cast<T>(value))] += all._bins[value];
        }
        return;
    }
    std::size_t const parts = std::clamp<std::size_t>(count / part_length, 1, vexa::GetThreadCount());
    std::mutex adding;
    vexa::ParallelFor(parts, [&](std::size_t part) {
        std::size_t const begin = count / parts * part;
        std::size_t const end = part + 1 < parts ? count / parts * (part + 1) : count;
        Scratch & scratch = Scratch::Get();
        scratch.Count(values + begin, end - begin);
        std::lock_guard<std::mutex> const lock(adding);
        scratch.MoveTo(_bins);
    });
}

template <typename T>
bool Histogram<T>::Save(wxString const & path) const
{
    std::string content(magic, sizeof(magic));
    PutNumber(content, version);
    PutNumber(content, _low);
    PutNumber(content, _high);
    PutNumber(content, static_cast<std::uint32_t>(_bins.size()));
    PutRuns(content, _bins);
    PutNumber(content, libdeflate_crc32(0, content.data(), content.size()));
    try {
        vexa::OutputFile file(path.fn_str());
        file.Write(content.data(), content.size());
        file.Commit();
        return true;
    } catch (vexa::IOException const &) {
        return false;
    }
}

template <typename T>
bool Histogram<T>::Load(wxString const & path)
{
    std::string content;
    try {
        content = vexa::InputFile(path.fn_str()).ReadAll(largest_file);
    } catch (vexa::IOException const &) {
        return false;
    }
    constexpr std::size_t smallest = sizeof(magic) + 5 * sizeof(std::uint32_t);
    if (content.size() < smallest || !std::equal(std::begin(magic), std::end(magic), content.begin())) {
        return false;
    }
    std::size_t const end = content.size() - sizeof(std::uint32_t);
    if (NumberAt(content, end) != libdeflate_crc32(0, content.data(), end)) {
        return false;
    }
    NumberReader reader(content);
    reader.Skip(sizeof(magic));
    std::uint32_t const found_version = reader.Take();
    std::uint32_t const low = reader.Take();
    std::uint32_t const high = reader.Take();
    std::uint32_t const bins = reader.Take();
    if (found_version != version || low > high || high > std::numeric_limits<T>::max() ||
        bins > high - low + 1) {
        return false;
    }
    Histogram loaded;
    loaded._low = static_cast<T>(low);
    loaded._high = static_cast<T>(high);
    loaded._bins.assign(bins, 0);
    if (!TakeRuns(reader, end, loaded._bins)) {
        return false;
    }
    *this = std::move(loaded);
    return true;
}

template class VEXA_API Histogram<unsigned short>;

} // namespace nubo
