#ifndef VELM_EXPORT_H
#define VELM_EXPORT_H

// Marks what the library gives to applications and drivers; everything else stays hidden in it.
#define VELM_API __attribute__((visibility("default")))

#endif
