#ifndef VEXAALGO_CORRECTION_PARAMS_H
#define VEXAALGO_CORRECTION_PARAMS_H

namespace vexa {

// The chromatic shift of one channel against the reference, in microns:
//   x' = x_plane[0] + x_plane[1] x + x_plane[2] y
//   y' = y_plane[0] + y_plane[1] x + y_plane[2] y
//   z' = z + z_surface[0] + z_surface[1] x + z_surface[2] y + z_surface[3] x² + z_surface[4] xy
//          + z_surface[5] y²
// All coefficients are 0 at first, which maps everything to one line: see SetIdentity.
struct ChromAberParams {
    double x_plane[3] = {};
    double y_plane[3] = {};
    double z_surface[6] = {};

    // Makes it the mapping that moves nothing.
    void SetIdentity()
    {
        *this = ChromAberParams();
        x_plane[1] = 1.0;
        y_plane[2] = 1.0;
    }
};

// The homomorphic filter's emphasis (gamma_high - gamma_low) (1 - exp(-c d² / d0²)) + gamma_low of the
// frequency d, in cycles per image.
struct HomomorphicFilterParams {
    double gamma_low = 0.0;
    double gamma_high = 0.0;
    double c = 0.0;
    double d0 = 0.0;
};

} // namespace vexa

#endif
