#ifndef DRIVERS_BASE_DRIVER_CONTRACT_H
#define DRIVERS_BASE_DRIVER_CONTRACT_H

#include "velm_driver_package.h"

// The number of this version of the contract between drivers and applications. It grows whenever a class of
// drivers/base or VELM_DriverPackage changes in a way that a driver built earlier would not survive.
#define VELM_DRIVER_CONTRACT_VERSION 1

// Defines what a driver library exports: the entry function, which gives a new package for the caller to own,
// and the contract version that the library was built with, for applications that check it before loading.
#define VELM_DRIVER_ENTRY(Package)                                                                           \
    extern "C" __attribute__((visibility("default"))) ::velm::VELM_DriverPackage * velm_driver_entry()       \
    {                                                                                                        \
        return new Package;                                                                                  \
    }                                                                                                        \
    extern "C" __attribute__((visibility("default"))) int velm_driver_contract_version()                     \
    {                                                                                                        \
        return VELM_DRIVER_CONTRACT_VERSION;                                                                 \
    }

#endif
