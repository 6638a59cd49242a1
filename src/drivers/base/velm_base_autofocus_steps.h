#ifndef DRIVERS_BASE_VELM_BASE_AUTOFOCUS_STEPS_H
#define DRIVERS_BASE_VELM_BASE_AUTOFOCUS_STEPS_H

// What AutoFocus and Calibrate are made of. Internal to the library.

#include "velm_export.h"

namespace velm {

class VELM_BaseControl;
class VELM_FrameBuffer;

// The focus measure: the sum of the squared horizontal steps from sample to sample but one. A sample is the
// top left pixel of each block that is so many sensor pixels wide and high; see Binning. 0 for a frame that
// is too small.
VELM_API double OneEnvironsSqrFCE(VELM_FrameBuffer * buffer, int bin);

// Bins the frame further, from the camera's binning to that one: the mean of each block goes into its top
// left pixel, and the other pixels stay. A frame whose size isn't a multiple of the blocks' is of no use
// afterwards.
VELM_API void Binning(VELM_FrameBuffer * buffer, int bin);

// Takes a frame with the setting in force and waits for it, without end.
VELM_API void SnapFrame(VELM_BaseControl & velm, VELM_FrameBuffer & buffer);

// The same, and bins the frame.
VELM_API void TakeSnap(VELM_BaseControl * velm, VELM_FrameBuffer * buffer, int bin);

// Fits F = a x² + b x + c by least squares to n samples, of which the sums of x, x², x³, x⁴, F, x F and x² F
// are given, and returns where the parabola turns: -b / (2 a), which isn't finite when there is no such
// place.
VELM_API double FitParabola(double n, double sum_x, double sum_x2, double sum_x3, double sum_x4, double sum_f,
                            double sum_xf, double sum_x2f, double * a, double * b, double * c);

} // namespace velm

#endif
