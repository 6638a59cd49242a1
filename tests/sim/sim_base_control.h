#ifndef SIM_BASE_CONTROL_H
#define SIM_BASE_CONTROL_H

#include "sim/sim_microscope.h"

#include <gtest/gtest.h>

namespace velm::sim::test {

// A test's microscope.
class SimRig : public testing::Test, protected SimMicroscope {
  protected:
    // A sharp frame of the first marker, the right way round.
    vexa::Image3d<unsigned short> Snap()
    {
        _base->ExFilter_SetPos(1);
        _base->EmFilter_SetPos(1);
        _base->Camera_SetFullFrame();
        return TakeFrame();
    }
};

} // namespace velm::sim::test

#endif
