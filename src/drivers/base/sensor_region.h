#ifndef DRIVERS_BASE_SENSOR_REGION_H
#define DRIVERS_BASE_SENSOR_REGION_H

// How a region is fitted to a sensor. Internal to the library.

namespace velm::detail {

// One axis: puts a bound outside the sensor on the sensor's own, widens to whole bins, and drops an
// incomplete bin at the end. Positions are sensor pixels, both ends included.
inline void FitAxis(int size, int bin, int & first, int & last)
{
    if (first < 0 || first >= size) {
        first = 0;
    }
    if (last < 0 || last >= size) {
        last = size - 1;
    }
    first -= first % bin;
    long fitted = static_cast<long>(last) - last % bin + bin - 1;
    if (fitted >= size) {
        fitted -= bin;
    }
    last = static_cast<int>(fitted);
}

inline void FitRegion(int ser_size, int par_size, int sbin, int pbin, int & s1, int & p1, int & s2, int & p2)
{
    FitAxis(ser_size, sbin, s1, s2);
    FitAxis(par_size, pbin, p1, p2);
}

} // namespace velm::detail

#endif
