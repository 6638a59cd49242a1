#ifndef VEXACORE_PARALLEL_H
#define VEXACORE_PARALLEL_H

// Work shared among the processor's cores. Internal to the image libraries and the core library.
//
// One pool of threads serves the whole process. It is made at the first use, its threads sleep between uses
// and end with the process. A caller always works, too, and waits for no thread that has not begun a part of
// its work: so calls may come from several threads at once and from within the work of another call, and
// where no thread can be had the caller does everything by itself.

#include "vexacore/export.h"

#include <cstddef>
#include <functional>

namespace vexa {

// The threads that one call may keep busy, the caller among them; at least 1.
VEXA_API unsigned int GetThreadCount();

// Holds for calls that begin later. 0, as at the start: as many as the cores on which the process may run.
VEXA_API void SetThreadCount(unsigned int count);

// Runs work(0) to work(count - 1), in any order and on several threads at once, and returns when all are
// done. After an exception no more are begun; the first one is thrown on when those under way have ended.
VEXA_API void ParallelFor(std::size_t count, std::function<void(std::size_t)> const & work);

// Items that are made by several threads but taken one after the other. Each lies in one of some slots, which
// are used again and again and bound the memory that is needed.
struct OrderedWork {
    std::size_t count = 0;
    std::size_t slots = 0; // GetThreadCount() and some more, so that nobody waits for a slow item; at least 1

    // Makes the item in the slot; several run at once, each in a slot of its own.
    std::function<void(std::size_t item, std::size_t slot)> make;

    // Takes the item from the slot; never two at once, and in ascending order of the items.
    std::function<void(std::size_t item, std::size_t slot)> take;
};

// Returns when all items are taken. After an exception nothing more is begun; the first one is thrown on when
// what is under way has ended.
VEXA_API void RunInOrder(OrderedWork const & work);

} // namespace vexa

#endif
