#ifndef FUZZ_RECORD_H
#define FUZZ_RECORD_H

// What the targets for records in description files have in common.

#include "fuzz_input.h"
#include "velm_config.h"
#include "velm_db.h"
#include "velm_depository.h"
#include "velm_driver_manager.h"

#include <functional>
#include <memory>
#include <wx/arrstr.h>
#include <wx/sstream.h>

namespace velm::fuzz {

// A catalogue, a depository with one calibration image, and a driver manager without drivers.
class Surroundings {
  public:
    Surroundings()
    {
        Input const & input = Input::Get();
        std::filesystem::create_directories(input.GetDirectory() + "/optics");
        std::filesystem::create_directories(input.GetDirectory() + "/dep/calib_images");
        input.Write("optics/ex_filters.ini", "1=360/40\n2=480/30\n");
        input.Write("optics/em_filters.ini", "1=460/50\n2=535/40\n");
        input.Write("optics/markers.ini", "Blue\n0\n0\nGreen\n1\n1\n");
        input.Write("optics/objectives.ini", "1=10x dry, 10\n");
        input.Write("dep/calib_images/ci_0001.txt", "CALIB_IMG_ID=1\nMean=100\n[CameraSetting]\nDRIVER="
                                                    "None\nSBIN=1\nPBIN=1\nMAX_BITDEPTH=12\nLAST_BIT=12\n");
        VELM_DriverManager::CreateInstance(input.GetDirectory() + "/drivers", "velm_driver_entry");
        _db = std::make_unique<VELM_Database>(input.GetDirectory() + "/optics");
    }

    VELM_Database const & GetDatabase() const { return *_db; }
    wxString GetDepository() const { return Input::Get().GetDirectory() + "/dep"; }

    static Surroundings const & Get()
    {
        static Surroundings const surroundings;
        return surroundings;
    }

  private:
    std::unique_ptr<VELM_Database> _db;
};

// The lines of a text, sorted: groups may change places.
inline wxArrayString SortedLines(wxString const & text)
{
    wxArrayString lines = wxSplit(text, '\n', '\0');
    lines.Sort();
    return lines;
}

// Loads a record, given as a description file. Where that works, saving and loading it again must settle at
// once: the second text has the lines of the first. load, save: as the record's members, over a
// configuration, a catalogue of its own, since that learns the texts that it doesn't know, and a depository.
template <typename Record, typename Load, typename Save>
void LoadAndSettle(std::uint8_t const * data, std::size_t size, Record record, Load load, Save save)
{
    VELM_Database db = Surroundings::Get().GetDatabase();
    VELM_Depository const depository(Surroundings::Get().GetDepository(), &db);
    config::DescriptionFile file(Input::Get().Write("record.txt", data, size));
    if (!load(record, file, &db, &depository)) {
        return;
    }
    auto const text_of = [&](Record const & saved) {
        wxStringInputStream empty(wxEmptyString);
        wxFileConfig config(empty);
        wxStringOutputStream text;
        if (!save(saved, config, &db, &depository) || !config.Save(text)) {
            std::abort();
        }
        return text.GetString();
    };
    wxString const first = text_of(record);
    wxStringInputStream stream(first);
    wxFileConfig again(stream);
    again.SetExpandEnvVars(false);
    if (!load(record, again, &db, &depository) || SortedLines(text_of(record)) != SortedLines(first)) {
        std::abort();
    }
}

} // namespace velm::fuzz

#endif
