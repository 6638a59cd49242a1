#include "velm_correction_settings.h"

#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

using Method = VELM_IlluminationCorrectionMethod;

std::string Saved(VELM_CorrectionSettings const & settings)
{
    return ConfigFile().TextOf([&](auto & config) { EXPECT_TRUE(settings.Save(config)); });
}

VELM_CorrectionSettings Loaded(std::string const & text)
{
    VELM_CorrectionSettings settings;
    ConfigFile().With(text, [&](auto & config) {
        settings.Load(config);
        EXPECT_EQ(config.GetPath(), "");
    });
    return settings;
}

// Every parameter different from its default.
VELM_CorrectionSettings Sample()
{
    VELM_CorrectionSettings settings;
    settings.GetManualShiftCorrection()->Apply(true);
    settings.GetManualShiftCorrection()->SetShift({1, -2, 3});
    settings.GetAutomaticShiftCorrection()->SetShift({4, 5, -6});
    settings.GetIlluminationCorrection()->SetMethod(Method(Method::HOMOMORPHIC));
    settings.GetIlluminationCorrection()->SetHomFilterParams({0.5, 2.0, 3.5, 8.25});
    vexa::ChromAberParams surface;
    for (int i = 0; i < 3; ++i) {
        surface.x_plane[i] = 0.5 + i;
        surface.y_plane[i] = 10.5 + i;
    }
    for (int i = 0; i < 6; ++i) {
        surface.z_surface[i] = 20.5 + i;
    }
    settings.GetChromAberCorrection()->SetSurface(surface);
    settings.GetChromAberCorrection()->Apply(true);
    return settings;
}

// The toolkit escapes the blank in a group's name.
char const * const SAMPLE_TEXT = "[Manual\\ shift]\nApply=1\nX=1\nY=-2\nZ=3\n"
                                 "[Automatic\\ shift]\nApply=0\nX=4\nY=5\nZ=-6\n"
                                 "[Illumination\\ correction]\nApply=0\nMETHOD=Homomorphic filtering\n"
                                 "HOM_GAMMA_LOW=0.5\nHOM_GAMMA_HIGH=2\nHOM_C=3.5\nHOM_D0=8.25\n"
                                 "[Chromatic\\ aberration]\nApply=1\nX_PLANE_0=0.5\nX_PLANE_1=1.5\n"
                                 "X_PLANE_2=2.5\nY_PLANE_0=10.5\nY_PLANE_1=11.5\nY_PLANE_2=12.5\n"
                                 "Z_SURF_0=20.5\nZ_SURF_1=21.5\nZ_SURF_2=22.5\nZ_SURF_3=23.5\n"
                                 "Z_SURF_4=24.5\nZ_SURF_5=25.5\n";

TEST(VelmCorrectionSettings, NewOnesHoldFourCorrectionsThatAreOffAndChangeNothing)
{
    VELM_CorrectionSettings settings;
    ASSERT_EQ(settings.GetCount(), 4u);
    char const * const names[] = {"Manual shift", "Automatic shift", "Illumination correction",
                                  "Chromatic aberration"};
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(settings.Get(i)->GetName(), names[i]);
        EXPECT_FALSE(settings.Get(i)->IsApplied());
    }
    EXPECT_EQ(settings.GetManualShiftCorrection()->GetShift(), vexa::Vector3d<int>(0, 0, 0));
    VELM_IlluminationCorrection const & illumination = *settings.GetIlluminationCorrection();
    EXPECT_EQ(illumination.GetMethod().Get(), Method::NONE);
    EXPECT_EQ(illumination.GetHomFilterParams().gamma_low, 1.0);
    EXPECT_EQ(illumination.GetHomFilterParams().d0, 1.0);
    EXPECT_EQ(settings.GetChromAberCorrection()->GetSurface().x_plane[1], 0.0);
}

TEST(VelmCorrectionSettings, EachCorrectionIsAGroupOfTheFileWithItsEntriesInOrder)
{
    EXPECT_EQ(Saved(Sample()), SAMPLE_TEXT);
}

TEST(VelmCorrectionSettings, WhatWasSavedLoadsTheSame)
{
    EXPECT_EQ(Saved(Loaded(SAMPLE_TEXT)), SAMPLE_TEXT);
}

TEST(VelmCorrectionSettings, AFileWithoutAnyEntryLeavesAllOffWithZeroShifts)
{
    LogRecorder log;
    VELM_CorrectionSettings settings = Sample();
    ConfigFile().With("", [&](auto & config) { settings.Load(config); });
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_FALSE(settings.Get(i)->IsApplied());
    }
    EXPECT_EQ(settings.GetManualShiftCorrection()->GetShift(), vexa::Vector3d<int>(0, 0, 0));
    EXPECT_EQ(settings.GetAutomaticShiftCorrection()->GetShift(), vexa::Vector3d<int>(0, 0, 0));
    EXPECT_EQ(settings.GetIlluminationCorrection()->GetMethod().Get(), Method::NONE);
    EXPECT_EQ(settings.GetIlluminationCorrection()->GetHomFilterParams().d0, 8.25) << "stays as it was";
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmCorrectionSettings, AChromaticSurfaceOfAFileWithoutTheGroupIsAllZerosNotTheIdentity)
{
    VELM_CorrectionSettings settings = Sample();
    settings.GetChromAberCorrection()->Reset();
    ConfigFile().With("", [&](auto & config) { settings.Load(config); });
    VELM_ChromAberCorrection const & chromatic = *settings.GetChromAberCorrection();
    EXPECT_FALSE(chromatic.IsApplied());
    EXPECT_EQ(chromatic.GetSurface().x_plane[1], 0.0);
    EXPECT_EQ(chromatic.GetSurface().y_plane[2], 0.0);
}

TEST(VelmCorrectionSettings, ResetDoesNotSwitchACorrectionOff)
{
    VELM_CorrectionSettings settings = Sample();
    for (unsigned int i = 0; i < 4; ++i) {
        settings.Get(i)->Apply(true);
        settings.Get(i)->Reset();
        EXPECT_TRUE(settings.Get(i)->IsApplied());
    }
    EXPECT_EQ(settings.GetManualShiftCorrection()->GetShift(), vexa::Vector3d<int>(0, 0, 0));
    EXPECT_EQ(settings.GetIlluminationCorrection()->GetMethod().Get(), Method::NONE);
    EXPECT_EQ(settings.GetIlluminationCorrection()->GetHomFilterParams().c, 1.0);
    EXPECT_EQ(settings.GetChromAberCorrection()->GetSurface().x_plane[1], 1.0);
    EXPECT_EQ(settings.GetChromAberCorrection()->GetSurface().z_surface[0], 0.0);
}

TEST(VelmCorrectionSettings, ASettersArgumentIsCopied)
{
    VELM_CorrectionSettings settings;
    VELM_ManualShiftCorrection manual;
    manual.SetShift({7, 0, 0});
    settings.SetManualShiftCorrection(&manual);
    manual.SetShift({9, 9, 9});
    EXPECT_EQ(settings.GetManualShiftCorrection()->GetShift(), vexa::Vector3d<int>(7, 0, 0));
}

TEST(VelmCorrectionSettings, EachSetterReplacesTheCorrectionOfItsKind)
{
    VELM_CorrectionSettings const sample = Sample();
    VELM_CorrectionSettings settings;
    settings.SetManualShiftCorrection(sample.GetManualShiftCorrection());
    settings.SetAutomaticShiftCorrection(sample.GetAutomaticShiftCorrection());
    settings.SetIlluminationCorrection(sample.GetIlluminationCorrection());
    settings.SetChromAberCorrection(sample.GetChromAberCorrection());
    EXPECT_EQ(Saved(settings), SAMPLE_TEXT);
}

TEST(VelmCorrectionSettings, ACopyThatIsChangedLeavesTheOriginalUnchanged)
{
    VELM_CorrectionSettings const original = Sample();
    VELM_CorrectionSettings copy = original;
    VELM_CorrectionSettings assigned;
    assigned = original;
    for (VELM_CorrectionSettings * const changed : {&copy, &assigned}) {
        EXPECT_EQ(Saved(*changed), SAMPLE_TEXT);
        changed->GetManualShiftCorrection()->SetShift({0, 0, 0});
        changed->GetIlluminationCorrection()->Reset();
    }
    EXPECT_EQ(Saved(original), SAMPLE_TEXT);
}

TEST(VelmCorrectionSettings, AnIndexOutOfBoundsGivesNull)
{
    LogRecorder log;
    VELM_CorrectionSettings settings;
    EXPECT_EQ(settings.Get(4), nullptr);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_CorrectionSettings::Get: Index is out of bounds!")}));
}

TEST(VelmCorrectionSettings, ARefusedEntryStopsItsCorrectionAndNoOther)
{
    LogRecorder log;
    RefusingConfig config("Y");
    EXPECT_FALSE(VELM_CorrectionSettings().Save(config));
    char const * const format =
        "velm::VELM_CorrectionSettings::Save: A correction method '%s' was not saved properly!";
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error(wxString::Format(format, "Manual shift").ToStdString()),
                                    Error(wxString::Format(format, "Automatic shift").ToStdString())}));
    EXPECT_TRUE(config.HasEntry("Manual shift/X"));
    EXPECT_FALSE(config.HasEntry("Manual shift/Z"));
    EXPECT_TRUE(config.HasEntry("Chromatic aberration/Z_SURF_5"));
    EXPECT_EQ(config.GetPath(), "");
}

TEST(VelmCorrectionSettings, ARefusedApplyLeavesTheParametersUnwritten)
{
    LogRecorder log;
    RefusingConfig config("Apply");
    EXPECT_FALSE(VELM_CorrectionSettings().Save(config));
    EXPECT_EQ(log.Lines().size(), 4u);
    EXPECT_FALSE(config.HasEntry("Manual shift/X"));
}

TEST(VelmCorrectionSettings, AShiftThatDoesNotFitItsTypeCountsAsMissing)
{
    VELM_CorrectionSettings const settings = Loaded("[Manual shift]\nX=2147483648\nY=5\n");
    EXPECT_EQ(settings.GetManualShiftCorrection()->GetShift(), vexa::Vector3d<int>(0, 5, 0));
}

TEST(VelmIlluminationCorrectionMethod, HasFourNamedMethods)
{
    wxArrayString names;
    names.push_back("earlier content");
    Method().GetMethodList(names);
    ASSERT_EQ(names.size(), 4u);
    for (std::size_t i = 0; i < names.size(); ++i) {
        Method method(static_cast<Method::Method>(i));
        EXPECT_EQ(method.GetName(), names[i]);
        EXPECT_EQ(method.HasParams(), i == 3);
        Method by_name;
        by_name.Set(names[i]);
        EXPECT_EQ(by_name.Get(), method.Get());
    }
    EXPECT_EQ(names[0], "None");
    EXPECT_EQ(names[1], "Calibration image");
    EXPECT_EQ(names[2], "B-spline approximation");
    EXPECT_EQ(names[3], "Homomorphic filtering");
}

TEST(VelmIlluminationCorrectionMethod, NoneInOtherCaseOrAnyOtherNameInAFileMeansNone)
{
    for (std::string const name : {"none", "homomorphic filtering", "Other", ""}) {
        VELM_CorrectionSettings const settings = Loaded("[Illumination correction]\nMETHOD=" + name + "\n");
        EXPECT_EQ(settings.GetIlluminationCorrection()->GetMethod().Get(), Method::NONE) << name;
    }
    Method method(Method::BSPLINE);
    method.Set("Other");
    EXPECT_EQ(method.Get(), Method::NONE);
}

TEST(VelmIlluminationCorrectionMethod, AMethodWithoutANameTripsTheAssertion)
{
    EXPECT_EQ(VELM_TRIPPED_BY(Method(static_cast<Method::Method>(4)).GetName()),
              "index >= 0 && index < _names.GetCount()");
    AssertRecorder const asserts;
    EXPECT_EQ(Method(static_cast<Method::Method>(-1)).GetName(), "");
}

} // namespace velm::test
