#ifndef ACQUISITION_DEPOSITORY_LOCK_H
#define ACQUISITION_DEPOSITORY_LOCK_H

#include <wx/string.h>

namespace velm::acquisition {

// Keeps other runs out of a depository for as long as it lives: two that number their FOVs at the same time
// would write over each other's. Nothing is left on disk, not even by a run that is killed.
class DepositoryLock {
  public:
    // Makes the directory if there is none. Throws PlanError when another run has it. Where the file system
    // knows no locks nothing is kept out.
    explicit DepositoryLock(wxString const & directory);
    ~DepositoryLock();
    DepositoryLock(DepositoryLock const &) = delete;
    DepositoryLock & operator=(DepositoryLock const &) = delete;

  private:
    int _file; // the open directory; -1 for none
};

} // namespace velm::acquisition

#endif
