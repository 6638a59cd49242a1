#ifndef VEXACORE_EXPORT_H
#define VEXACORE_EXPORT_H

// Marks what the image libraries give to their users; everything else stays hidden.
#define VEXA_API __attribute__((visibility("default")))

#endif
