#include "velm_time_interval.h"

#include "velm_config.h"

#include <limits>

namespace velm {

namespace {

constexpr long MS_PER_SECOND = 1000;

// One end of an interval as the file has it: whole seconds since 1970 and the milliseconds behind them.
struct Moment {
    long seconds;
    unsigned short ms;

    explicit Moment(wxDateTime const & time)
    {
        // Rounded down, so that the milliseconds count forward before 1970 too.
        auto const value = static_cast<long>(time.GetValue().GetValue());
        auto const rest = (value % MS_PER_SECOND + MS_PER_SECOND) % MS_PER_SECOND;
        seconds = (value - rest) / MS_PER_SECOND;
        ms = static_cast<unsigned short>(rest);
    }

    wxDateTime ToTime() const { return wxDateTime(wxLongLong(seconds * MS_PER_SECOND + ms)); }

    void Read(config::RecordReader & reader, char const * seconds_key, char const * ms_key)
    {
        constexpr long limit = std::numeric_limits<long>::max() / MS_PER_SECOND - 1;
        constexpr long not_read = limit + 1;
        long whole = not_read;
        reader.Compulsory(seconds_key, whole, [](long s) { return -limit <= s && s <= limit; });
        if (whole != not_read) {
            seconds = whole;
            ms = 0; // those of another time mean nothing behind these seconds
        }
        reader.Compulsory(ms_key, ms, [](unsigned short m) { return m < MS_PER_SECOND; });
    }

    void Write(config::RecordWriter & writer, char const * seconds_key, char const * ms_key) const
    {
        writer.Entry(seconds_key, seconds).Entry(ms_key, ms);
    }
};

} // namespace

VELM_TimeInterval::VELM_TimeInterval() : _start(wxDateTime::UNow()), _end(_start) {}

bool VELM_TimeInterval::Save(wxFileConfig & config) const
{
    // "FOV" whichever record the interval is in.
    config::RecordWriter writer(config, "saving FOV : ");
    Moment(_start).Write(writer, "START_TIME", "START_TIME_MS");
    Moment(_end).Write(writer, "END_TIME", "END_TIME_MS");
    return writer.IsOk();
}

bool VELM_TimeInterval::Load(wxFileConfig & config)
{
    config::RecordReader reader(config, "loading FOV : ");
    Moment start(_start);
    Moment end(_end);
    start.Read(reader, "START_TIME", "START_TIME_MS");
    end.Read(reader, "END_TIME", "END_TIME_MS");
    _start = start.ToTime();
    _end = end.ToTime();
    return reader.IsOk();
}

} // namespace velm
