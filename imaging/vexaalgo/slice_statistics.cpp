#include "vexaalgo/slice_statistics.h"

#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace vexa {

namespace {

using Frame = Image3d<unsigned short>;
using Value = unsigned short;

// Columns that are worked on at once: their values and what is made of them stay in the nearest cache.
constexpr std::size_t block = 128;

// Values in a line of the caches.
constexpr std::size_t line = 32;

// Blocks that one thread takes at a time.
constexpr std::size_t blocks_per_part = 512;

// Where the values of a block's columns lie: that of slice z of column i at first[i + z * plane].
struct Columns {
    Value const * first;
    std::size_t plane;
    std::size_t slices;
    std::size_t length; // up to a block
    std::size_t ahead;  // how far behind these the columns lie that are worked on next; 0 for none
};

// Makes out of in, where the work of a Part, one for each thread, writes the results of a block.
template <typename Part>
void ReduceSlices(Frame const & in, Frame & out)
{
    Frame result(&in.offset, &in.resolution);
    result.MakeRoom(in.size.x, in.size.y, std::min(in.size.z, 1U));
    std::size_t const plane = result.GetCount();
    constexpr std::size_t part_length = block * blocks_per_part;
    ParallelFor((plane + part_length - 1) / part_length, [&](std::size_t number) {
        Part part(in.size.z);
        std::size_t const end = std::min(plane, (number + 1) * part_length);
        for (std::size_t begin = number * part_length; begin < end; begin += block) {
            std::size_t const left = end - begin;
            part.Reduce(
                {in.begin() + begin, plane, in.size.z, std::min(block, left), left >= 2 * block ? block : 0},
                result.begin() + begin);
        }
    });
    out = std::move(result);
}

// ---- Mean

// The quotient, truncated. Divided in double precision the smaller sums, which are integers of 31 bits, give
// just that, and there are instructions that divide several at once.
VEXA_LOOP_BODY Value Quotient(std::int32_t sum, std::size_t divisor)
{
    return static_cast<Value>(static_cast<std::int32_t>(sum / static_cast<double>(divisor)));
}

VEXA_LOOP_BODY Value Quotient(std::uint64_t sum, std::size_t divisor)
{
    return static_cast<Value>(sum / divisor);
}

// Four slices at a time: the memory delivers more from several places at once, and the sums are fetched and
// stored less often.
template <typename Sum>
VEXA_LOOP_BODY void MeanBody(Columns const & columns, Value * means)
{
    Sum sums[block] = {};
    std::size_t const length = columns.length;
    std::size_t z = 0;
    for (; z + 4 <= columns.slices; z += 4) {
        Value const * const a = columns.first + z * columns.plane;
        Value const * const b = a + columns.plane;
        Value const * const c = b + columns.plane;
        Value const * const d = c + columns.plane;
        for (std::size_t i = 0; i < length; ++i) {
            sums[i] += static_cast<Sum>(a[i] + b[i] + c[i] + d[i]);
        }
    }
    for (; z < columns.slices; ++z) {
        Value const * const a = columns.first + z * columns.plane;
        for (std::size_t i = 0; i < length; ++i) {
            sums[i] += a[i];
        }
    }
    for (std::size_t i = 0; i < length; ++i) {
        means[i] = Quotient(sums[i], columns.slices);
    }
}

#if VEXA_HAS_AVX2
template <typename Sum>
VEXA_AVX2 void MeanAvx2(Columns const & columns, Value * means)
{
    MeanBody<Sum>(columns, means);
}
#endif

template <typename Sum>
void Mean(Columns const & columns, Value * means)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        MeanAvx2<Sum>(columns, means);
        return;
    }
#endif
    MeanBody<Sum>(columns, means);
}

struct MeanPart {
    explicit MeanPart(std::size_t) {}

    void Reduce(Columns const & columns, Value * means) const
    {
        constexpr std::size_t limit = 0x7FFFFFFF / 0xFFFF; // slices whose sums stay within 31 bits
        if (columns.slices <= limit) {
            Mean<std::int32_t>(columns, means);
        } else {
            Mean<std::uint64_t>(columns, means);
        }
    }
};

// ---- Median

VEXA_LOOP_BODY void Sort(Value & low, Value & high)
{
    Value const a = low;
    Value const b = high;
    low = a < b ? a : b;
    high = a < b ? b : a;
}

// Brings the lowest of so many values to the first place and the highest to the last.
template <std::size_t Count>
VEXA_LOOP_BODY void FindEnds(Value * values)
{
    for (std::size_t i = 0; i < Count / 2; ++i) {
        Sort(values[i], values[Count - 1 - i]);
    }
    for (std::size_t i = 1; i < (Count + 1) / 2; ++i) {
        Sort(values[0], values[i]);
    }
    for (std::size_t i = Count / 2; i + 1 < Count; ++i) {
        Sort(values[i], values[Count - 1]);
    }
}

// The median of so many values of a column: the first Held of them are held, and the others come from further
// down. Of more values than half of all the lowest and the highest can't be in the middle: they are dropped,
// and the next one comes in (the "forgetful selection" of Paeth's median of nine). So few are held at a time
// that they stay in registers.
template <std::size_t Held, std::size_t Left>
VEXA_LOOP_BODY Value MedianByForgetting(Value * held, Value const * rest)
{
    if constexpr (Held == 1) {
        return held[0];
    } else if constexpr (Held == 2) {
        return static_cast<Value>((held[0] + held[1]) / 2);
    } else {
        FindEnds<Held>(held);
        if constexpr (Left == 0) {
            return MedianByForgetting<Held - 2, 0>(held + 1, rest);
        } else {
            held[Held - 1] = rest[0];
            return MedianByForgetting<Held - 1, Left - 1>(held + 1, rest + block);
        }
    }
}

// The medians of a line of columns. values: the first of them in a block, slice after slice.
template <std::size_t Count>
VEXA_LOOP_BODY void MedianBody(Value const * values, Value * medians)
{
    constexpr std::size_t held_count = std::min(Count, Count / 2 + 2);
    for (std::size_t i = 0; i < line; ++i) {
        Value held[held_count];
        for (std::size_t z = 0; z < held_count; ++z) {
            held[z] = values[z * block + i];
        }
        medians[i] =
            MedianByForgetting<held_count, Count - held_count>(held, values + held_count * block + i);
    }
}

using MedianKernel = void (*)(Value const * values, Value * medians);

template <std::size_t Count>
void MedianPlain(Value const * values, Value * medians)
{
    MedianBody<Count>(values, medians);
}

#if VEXA_HAS_AVX2
template <std::size_t Count>
VEXA_AVX2 void MedianAvx2(Value const * values, Value * medians)
{
    MedianBody<Count>(values, medians);
}
#endif

constexpr std::size_t most_by_forgetting = 16;

template <std::size_t... Index>
MedianKernel SelectMedian(std::size_t count, std::index_sequence<Index...>)
{
    static constexpr std::array<MedianKernel, sizeof...(Index)> plain{MedianPlain<Index + 1>...};
#if VEXA_HAS_AVX2
    static constexpr std::array<MedianKernel, sizeof...(Index)> avx2{MedianAvx2<Index + 1>...};
    if (GetInstructionSet() == InstructionSet::Avx2) {
        return avx2[count - 1];
    }
#endif
    return plain[count - 1];
}

// The value of that rank, from 0, of each column: found bit by bit, from the highest, as the largest that no
// more than rank values lie below. values: a block's columns, slice after slice.
template <typename Number>
VEXA_LOOP_BODY void RankBody(Value const * values, std::size_t slices, std::size_t rank, Value * found)
{
    std::fill_n(found, block, static_cast<Value>(0));
    for (int bit = 0x8000; bit != 0; bit >>= 1) {
        Value higher[block];
        Number below[block] = {};
        for (std::size_t i = 0; i < block; ++i) {
            higher[i] = static_cast<Value>(found[i] | bit);
        }
        for (std::size_t z = 0; z < slices; ++z) {
            Value const * const slice = values + z * block;
            for (std::size_t i = 0; i < block; ++i) {
                below[i] = static_cast<Number>(below[i] + (slice[i] < higher[i] ? 1 : 0));
            }
        }
        for (std::size_t i = 0; i < block; ++i) {
            found[i] = below[i] <= rank ? higher[i] : found[i];
        }
    }
}

#if VEXA_HAS_AVX2
template <typename Number>
VEXA_AVX2 void RankAvx2(Value const * values, std::size_t slices, std::size_t rank, Value * found)
{
    RankBody<Number>(values, slices, rank, found);
}
#endif

template <typename Number>
void Rank(Value const * values, std::size_t slices, std::size_t rank, Value * found)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        RankAvx2<Number>(values, slices, rank, found);
        return;
    }
#endif
    RankBody<Number>(values, slices, rank, found);
}

void MedianByRank(Value const * values, std::size_t slices, Value * medians)
{
    Value upper[block];
    auto const rank = slices <= 0xFFFF ? Rank<std::uint16_t> : Rank<std::uint32_t>;
    rank(values, slices, (slices - 1) / 2, medians);
    rank(values, slices, slices / 2, upper);
    for (std::size_t i = 0; i < block; ++i) {
        medians[i] = static_cast<Value>((medians[i] + upper[i]) / 2);
    }
}

class MedianPart {
  public:
    explicit MedianPart(std::size_t slices) : _values(block * slices)
    {
        if (slices >= 1 && slices <= most_by_forgetting) {
            _kernel = SelectMedian(slices, std::make_index_sequence<most_by_forgetting>());
        }
    }

    // The block is copied together first: the slices of a stack often lie a power of two apart, and then the
    // caches can't hold the same place of more than a few of them.
    void Reduce(Columns const & columns, Value * medians)
    {
        for (std::size_t z = 0; z < columns.slices; ++z) {
            std::copy_n(columns.first + z * columns.plane, columns.length, _values.data() + z * block);
        }
        Value of_block[block];
        if (_kernel == nullptr) {
            MedianByRank(_values.data(), columns.slices, of_block);
        }
        for (std::size_t i = 0; _kernel != nullptr && i < block; i += line) {
            FetchNext(columns, i);
            _kernel(_values.data() + i, of_block + i);
        }
        std::copy_n(of_block, columns.length, medians);
    }

  private:
    // Has the memory deliver, while a line is worked on, the line of the next block that lies at this place.
    static void FetchNext(Columns const & columns, std::size_t i)
    {
#if defined(__GNUC__)
        for (std::size_t z = 0; columns.ahead != 0 && z < columns.slices; ++z) {
            __builtin_prefetch(columns.first + z * columns.plane + columns.ahead + i);
        }
#endif
    }

    std::vector<Value> _values;
    MedianKernel _kernel = nullptr; // null for more slices than there are kernels
};

} // namespace

void MeanOfSlices(Frame const & in, Frame & out)
{
    ReduceSlices<MeanPart>(in, out);
}

void MedianOfSlices(Frame const & in, Frame & out)
{
    ReduceSlices<MedianPart>(in, out);
}

} // namespace vexa
