#include "drivers/base/camera_setting_binder.h"

#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/stub_rig.h"

#include <wx/checkbox.h>
#include <wx/frame.h>
#include <wx/panel.h>
#include <wx/sizer.h>

namespace velm::test {

namespace {

struct Boxes {
    explicit Boxes(VELM_CameraSettingBinder & binder)
        : panel(new wxPanel(&frame)), sizer(new wxBoxSizer(wxHORIZONTAL))
    {
        panel->SetSizer(sizer);
        binder.AddCheckBoxes(panel, sizer);
    }

    wxCheckBox & Get(std::size_t i) const
    {
        return dynamic_cast<wxCheckBox &>(*sizer->GetItem(i)->GetWindow());
    }

    wxFrame frame{nullptr, wxID_ANY, "test"};
    wxPanel * panel;
    wxBoxSizer * sizer;
};

// The choices as a file shows them.
std::string Saved(VELM_CameraSettingBinder & binder)
{
    return ConfigFile().TextOf([&](wxFileConfig & config) { EXPECT_TRUE(binder.Save(config)); });
}

void LoadFrom(std::string const & text, VELM_CameraSettingBinder & binder)
{
    ConfigFile().With(text, [&](wxFileConfig & config) { EXPECT_TRUE(binder.Load(config)); });
}

} // namespace

TEST(CameraSettingBinder, ItsCheckBoxesAreBuiltIntoTheSizer)
{
    VELM_CameraSettingBinder binder(true, false);
    Boxes const boxes(binder);
    ASSERT_EQ(boxes.sizer->GetItemCount(), 2u);
    EXPECT_EQ(boxes.Get(0).GetLabel(), "Serial binning (X)");
    EXPECT_EQ(boxes.Get(1).GetLabel(), "Parallel binning (Y)");
    for (std::size_t i = 0; i < 2; ++i) {
        wxSizerItem const & item = *boxes.sizer->GetItem(i);
        EXPECT_EQ(item.GetProportion(), 0);
        EXPECT_EQ(item.GetFlag(), wxALL | wxALIGN_CENTER_VERTICAL);
        EXPECT_EQ(item.GetBorder(), 5);
        EXPECT_EQ(boxes.Get(i).GetParent(), boxes.panel);
    }
}

TEST(CameraSettingBinder, SetPutsTheChoicesIntoTheBoxesAndGetTakesThem)
{
    VELM_CameraSettingBinder binder(true, false);
    Boxes const boxes(binder);
    binder.Set();
    EXPECT_TRUE(boxes.Get(0).GetValue());
    EXPECT_FALSE(boxes.Get(1).GetValue());
    boxes.Get(0).SetValue(false);
    boxes.Get(1).SetValue(true);
    EXPECT_EQ(Saved(binder), "BIND_SBIN=1\nBIND_PBIN=0\n");
    binder.Get();
    EXPECT_EQ(Saved(binder), "BIND_SBIN=0\nBIND_PBIN=1\n");
}

TEST(CameraSettingBinder, SetAndGetWithoutBoxesTripAnAssertion)
{
    VELM_CameraSettingBinder binder(true, false);
    EXPECT_EQ(VELM_TRIPPED_BY(binder.Set()), "_ch_sbin");
    EXPECT_EQ(VELM_TRIPPED_BY(binder.Get()), "_ch_sbin");
}

TEST(CameraSettingBinder, CopyCarriesTheBoundBinningAndAlwaysTheRegion)
{
    StubSetting source;
    source.SetBinning(4, 8);
    source.SetRegion(1, 2, 3, 4);
    for (bool const serial : {false, true}) {
        for (bool const parallel : {false, true}) {
            StubSetting target;
            VELM_CameraSettingBinder(serial, parallel).Copy_Bound(&source, &target);
            EXPECT_EQ(target.GetSBin(), serial ? 4 : 1);
            EXPECT_EQ(target.GetPBin(), parallel ? 8 : 1);
            EXPECT_TRUE(target.HasSameRegion(&source));
        }
    }
}

TEST(CameraSettingBinder, CopyFromOrToNothingTripsAnAssertion)
{
    StubSetting setting;
    VELM_CameraSettingBinder const binder(true, true);
    EXPECT_EQ(VELM_TRIPPED_BY(binder.Copy_Bound(nullptr, &setting)), "src");
    EXPECT_EQ(VELM_TRIPPED_BY(binder.Copy_Bound(&setting, nullptr)), "desc");
}

TEST(CameraSettingBinder, WhatItSavesItLoads)
{
    VELM_CameraSettingBinder saved(true, false);
    VELM_CameraSettingBinder read(false, true);
    LoadFrom(Saved(saved), read);
    EXPECT_EQ(Saved(read), "BIND_SBIN=1\nBIND_PBIN=0\n");
}

TEST(CameraSettingBinder, LoadingFromNothingBindsNothing)
{
    VELM_CameraSettingBinder read(true, true);
    LoadFrom("", read);
    EXPECT_EQ(Saved(read), "BIND_SBIN=0\nBIND_PBIN=0\n");
}

TEST(CameraSettingBinder, ARefusedEntryIsLoggedAndTheOtherStillWritten)
{
    VELM_CameraSettingBinder binder(true, true);
    LogRecorder log;
    RefusingConfig no_serial("BIND_SBIN");
    EXPECT_FALSE(binder.Save(no_serial));
    EXPECT_TRUE(no_serial.ReadBool("BIND_PBIN", false));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving FOV : Entry BIND_SBIN not saved.")}));

    log.Clear();
    RefusingConfig nothing;
    EXPECT_FALSE(binder.Save(nothing));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving FOV : Entry BIND_SBIN not saved."),
                                                 Error("saving FOV : Entry BIND_PBIN not saved.")}));
}

} // namespace velm::test
