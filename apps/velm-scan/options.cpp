#include "velm-scan/options.h"

#include "velm_bc_mixer.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <map>
#include <wx/string.h>

namespace velm::scan {

namespace {

constexpr long max_grid_side = 1000;
constexpr long max_slices = 10000;
constexpr long max_step = 10000;
constexpr long max_fov = 9999;
constexpr long max_channel = 99;
constexpr long max_frames = 1000;
constexpr int max_picture_side = 1000000;

// The whole text as a number from min to max.
template <typename Number>
Number ParseNumber(std::string const & option, std::string const & text, Number min, Number max)
{
    Number value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < min || value > max) {
        throw UsageError(option + " takes a number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not \"" + text + "\"");
    }
    return value;
}

acquisition::Grid ParseGrid(std::string const & text)
{
    std::size_t const cross = text.find('x');
    if (cross == std::string::npos) {
        throw UsageError("--grid takes columns and rows, such as 3x2, not \"" + text + "\"");
    }
    return {static_cast<int>(ParseNumber<long>("--grid", text.substr(0, cross), 1, max_grid_side)),
            static_cast<int>(ParseNumber<long>("--grid", text.substr(cross + 1), 1, max_grid_side))};
}

// The text's parts between commas.
std::vector<std::string> Split(std::string const & text)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t const comma = std::min(text.find(',', begin), text.size());
        parts.push_back(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    return parts;
}

std::vector<long> ParseIds(std::string const & text)
{
    std::vector<long> ids;
    for (std::string const & part : Split(text)) {
        ids.push_back(ParseNumber<long>("--channels", part, 1, max_channel));
    }
    return ids;
}

acquisition::CalibrationRequest ParseCalibration(std::string const & text)
{
    std::size_t const comma = std::min(text.find(','), text.size());
    acquisition::CalibrationRequest request;
    request.frames = ParseNumber<long>("--calibrate", text.substr(0, comma), 1, max_frames);
    wxString const method = wxString::FromUTF8(text.substr(std::min(comma + 1, text.size())));
    for (VELM_CalibMethod const known : {CALIB_MEAN, CALIB_MEDIAN}) {
        if (method.IsSameAs(GetCalibMethodName(known), false)) {
            request.method = known;
            return request;
        }
    }
    throw UsageError("--calibrate takes a number of frames and mean or median, such as 9,median, not \"" +
                     text + "\"");
}

std::array<long, 3> ParseColours(std::string const & text)
{
    std::vector<std::string> const parts = Split(text);
    if (parts.size() != 3 || text == "-1,-1,-1") {
        throw UsageError(
            "--rgb takes the channels of red, green and blue, -1 for none, such as 2,-1,1, not \"" + text +
            "\"");
    }
    std::array<long, 3> ids{};
    std::transform(parts.begin(), parts.end(), ids.begin(), [](std::string const & part) {
        return part == "-1" ? -1 : ParseNumber<long>("--rgb", part, 1, max_channel);
    });
    return ids;
}

wxRect ParseRect(std::string const & text)
{
    std::vector<std::string> const parts = Split(text);
    if (parts.size() != 4) {
        throw UsageError("--rect takes X,Y,W,H in pixels, such as 0,0,512,512, not \"" + text + "\"");
    }
    auto const number = [&](std::size_t i, int min) {
        return ParseNumber<int>("--rect", parts[i], min, max_picture_side);
    };
    return {number(0, 0), number(1, 0), number(2, 1), number(3, 1)};
}

// The bits of the mixer's options.
int ParseCorrections(std::string const & text)
{
    static std::map<std::string, int> const bits{{"manual", VELM_BC_Mixer::MANUAL_SHIFT},
                                                 {"automatic", VELM_BC_Mixer::AUTOMATIC_SHIFT},
                                                 {"illumination", VELM_BC_Mixer::ILLUMINATION},
                                                 {"chromatic", VELM_BC_Mixer::CHROMATIC_ABERRATION}};
    int corrections = 0;
    for (std::string const & part : Split(text)) {
        auto const bit = bits.find(part);
        if (bit == bits.end()) {
            throw UsageError(
                "--correct takes manual, automatic, illumination and chromatic, with commas between, "
                "not \"" +
                part + "\"");
        }
        corrections |= bit->second;
    }
    return corrections;
}

// The text as the name of a file or directory, which the program keeps as UTF-8.
std::string ParsePath(std::string const & option, std::string const & text)
{
    if (text.empty()) {
        throw UsageError(option + " needs a value");
    }
    if (wxString::FromUTF8(text).empty()) {
        throw UsageError(option + " takes a name in UTF-8");
    }
    return text;
}

using Setter = std::function<void(Options &, std::string const &)>;

using Setters = std::map<std::string, Setter>;

Setter const set_ini = [](Options & o, std::string const & value) { o.ini = ParsePath("--ini", value); };
Setter const set_depository = [](Options & o, std::string const & value) {
    o.depository = ParsePath("--depository", value);
};
Setter const set_out = [](Options & o, std::string const & value) { o.out = ParsePath("--out", value); };
Setter const set_channels = [](Options & o, std::string const & value) { o.channels = ParseIds(value); };

// Sets the member to a number from min to max.
template <typename Number>
Setter SetNumber(char const * option, Number Options::*member, Number min, Number max)
{
    return [=](Options & o, std::string const & value) {
        o.*member = ParseNumber<Number>(option, value, min, max);
    };
}

// Options that take no value.
bool IsFlag(std::string const & name)
{
    return name == "--af";
}

Setter const set_fov = SetNumber("--fov", &Options::fov, 1L, max_fov);

Setters const & SettersOf(Command command)
{
    static Setters const scan{
        {"--ini", set_ini},
        {"--depository", set_depository},
        {"--grid", [](Options & o, std::string const & value) { o.grid = ParseGrid(value); }},
        {"--slices", SetNumber("--slices", &Options::slices, 1L, max_slices)},
        {"--step", SetNumber("--step", &Options::step, 1L, max_step)},
        {"--channels", set_channels},
        {"--autofocus", SetNumber("--autofocus", &Options::autofocus, 1L, max_channel)},
        {"--calibrate",
         [](Options & o, std::string const & value) { o.calibrate = ParseCalibration(value); }},
        {"--seed",
         [](Options & o, std::string const & value) {
             o.seed = ParseNumber<unsigned long>("--seed", value, 0, 4294967295UL);
         }},
    };
    static Setters const overview{{"--ini", set_ini}, {"--depository", set_depository}, {"--out", set_out}};
    static Setters const exported{{"--ini", set_ini},
                                  {"--depository", set_depository},
                                  {"--fov", set_fov},
                                  {"--channels", set_channels},
                                  {"--out", set_out}};
    static Setters const mixed{
        {"--ini", set_ini},
        {"--depository", set_depository},
        {"--fov", set_fov},
        {"--rgb", [](Options & o, std::string const & value) { o.mix.channels = ParseColours(value); }},
        {"--af", [](Options & o, std::string const &) { o.mix.af = true; }},
        {"--slice",
         [](Options & o, std::string const & value) {
             o.mix.slice = ParseNumber<int>("--slice", value, 0, static_cast<int>(max_slices) - 1);
         }},
        {"--rect", [](Options & o, std::string const & value) { o.mix.rect = ParseRect(value); }},
        {"--correct",
         [](Options & o, std::string const & value) { o.mix.corrections = ParseCorrections(value); }},
        {"--out", set_out}};
    switch (command) {
    case Command::Overview:
        return overview;
    case Command::Export:
        return exported;
    case Command::Mix:
        return mixed;
    default:
        return scan;
    }
}

void CheckComplete(Options const & options)
{
    if (options.depository.empty()) {
        throw UsageError("--depository is missing");
    }
    if ((options.command == Command::Export || options.command == Command::Mix) && options.fov == 0) {
        throw UsageError("--fov is missing");
    }
    if (options.command == Command::Mix && options.mix.channels == MixOptions().channels) {
        throw UsageError("--rgb is missing");
    }
    if (options.mix.af && options.mix.slice) {
        throw UsageError("--af leaves no --slice to choose");
    }
    if (options.command != Command::Scan && options.out.empty()) {
        throw UsageError("--out is missing");
    }
}

} // namespace

Options ParseOptions(std::vector<std::string> const & arguments)
{
    Options options;
    std::size_t i = 1;
    static std::map<std::string, Command> const commands{
        {"overview", Command::Overview}, {"export", Command::Export}, {"mix", Command::Mix}};
    if (arguments.size() > 1 && commands.count(arguments[1]) != 0) {
        options.command = commands.at(arguments[1]);
        ++i;
    }
    for (; i < arguments.size(); ++i) {
        std::string const & argument = arguments[i];
        if (argument == "--help" || argument == "--version") {
            options.command = argument == "--help" ? Command::Help : Command::Version;
            return options;
        }
        std::size_t const equals = argument.find('=');
        std::string const name = argument.substr(0, equals);
        auto const setter = SettersOf(options.command).find(name);
        if (setter == SettersOf(options.command).end()) {
            throw UsageError("unknown argument \"" + argument + "\"");
        }
        if (IsFlag(name)) {
            if (equals != std::string::npos) {
                throw UsageError(name + " takes no value");
            }
            setter->second(options, {});
            continue;
        }
        if (equals == std::string::npos && i + 1 == arguments.size()) {
            throw UsageError(name + " needs a value");
        }
        setter->second(options, equals == std::string::npos ? arguments[++i] : argument.substr(equals + 1));
    }
    CheckComplete(options);
    return options;
}

std::string HelpText()
{
    return "usage: velm-scan --depository DIR [options]\n"
           "       velm-scan overview --depository DIR --out FILE.png\n"
           "       velm-scan export --depository DIR --fov ID --out FILE.ome.tif\n"
           "       velm-scan mix --depository DIR --fov ID --rgb R,G,B --out FILE.png [mix options]\n"
           "\n"
           "Takes stacks of every channel at every coordinate of a depository and stores each place as one "
           "FOV.\n"
           "\n"
           "  --ini FILE        ini file of the installation (default: the installed simulated microscope)\n"
           "  --depository DIR  depository to read channels and coordinates from and to store in; made if "
           "missing\n"
           "  --grid CxR        replace the coordinates by a grid of C columns and R rows around the present "
           "place\n"
           "  --slices N        slices of a stack (default 9)\n"
           "  --step N          distance of the slices in tenths of a micron (default 10)\n"
           "  --channels IDS    channels to take or to export, such as 1,3 (default: all)\n"
           "  --autofocus ID    find the focus on this channel at every coordinate; the stacks lie around "
           "it\n"
           "  --calibrate N,M   first capture the calibration images that channels lack, of N frames, M "
           "being\n"
           "                    mean or median; channels made by this run are corrected by one\n"
           "  --seed N          seed of the simulated specimen\n"
           "  --help, --version\n"
           "\n"
           "The second form draws all FOVs of a depository as one picture, with a scale bar. The third "
           "writes\n"
           "the stacks of one FOV as OME-TIFF, which other programs read with channels, colours, scale,\n"
           "place and times. The fourth mixes up to three channels of one FOV into a picture. All replace a\n"
           "file of that name.\n"
           "\n"
           "  --rgb R,G,B       channels shown red, green and blue, -1 for none, such as 2,-1,1\n"
           "  --af              the projections in place of the stacks\n"
           "  --slice N         this slice, counted from 0 (default: the brightest of all)\n"
           "  --rect X,Y,W,H    this part of the picture, in pixels\n"
           "  --correct KINDS   corrections to make where the FOV has them applied: manual and automatic "
           "shift,\n"
           "                    illumination, chromatic aberration, such as "
           "manual,automatic,illumination,chromatic\n"
           "\n"
           "Exit status: 0 done, 1 failed, 2 wrong usage, 130 interrupted.\n";
}

} // namespace velm::scan
