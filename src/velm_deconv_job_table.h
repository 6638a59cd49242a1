#ifndef VELM_DECONV_JOB_TABLE_H
#define VELM_DECONV_JOB_TABLE_H

#include "velm_export.h"

#include <vector>
#include <wx/dynarray.h>
#include <wx/string.h>

class wxFileConfig;

namespace velm {

// One deconvolution job: the channel that it works on and the channel that it produces.
class VELM_API VELM_DeconvJobTableItem {
  public:
    VELM_DeconvJobTableItem() = default;
    VELM_DeconvJobTableItem(long job_id, long channel_id, wxString const & channel_name)
        : _job_id(job_id), _channel_id(channel_id), _channel_name(channel_name)
    {
    }

    long GetJobId() const { return _job_id; }
    long GetChannelId() const { return _channel_id; }
    wxString const & GetChannelName() const { return _channel_name; }

    // A deconvolved channel's id stands at a fixed distance from its source's and is stored nowhere.
    long GetDeconvChannelId() const { return _channel_id + 50; }

    // Empty until set.
    wxString const & GetDeconvChannelName() const { return _deconv_channel_name; }
    void SetDeconvChannelName(wxString const & name) { _deconv_channel_name = name; }

    // Entries at the current path. Both go on after a bad entry, which gives one error line and the result
    // false; a missing number stays as it was.
    bool Load(wxFileConfig const & config);
    bool Save(wxFileConfig & config) const;

  private:
    long _job_id = -1;
    long _channel_id = -1;
    wxString _channel_name;
    wxString _deconv_channel_name;
};

// The deconvolution jobs of a depository, in the order of adding, no two with the same id. Ids come from the
// caller.
class VELM_API VELM_DeconvJobTable {
  public:
    VELM_DeconvJobTable() = default;
    VELM_DeconvJobTable(VELM_DeconvJobTable const &) = default;
    VELM_DeconvJobTable & operator=(VELM_DeconvJobTable const &) = default;
    virtual ~VELM_DeconvJobTable();

    // Throw VELM_Error when the job id is in the table.
    void Add(long job_id, long channel_id, wxString const & channel_name);
    void Add(VELM_DeconvJobTableItem const & item);

    // Throw VELM_Error when the job id isn't in the table.
    void Remove(long job_id);
    VELM_DeconvJobTableItem & Get(long job_id);
    VELM_DeconvJobTableItem const & Get(long job_id) const;

    // Replace the array by the ids of all jobs, or of those that work on the channel, in the table's order.
    void GetJobList(wxArrayLong & ids) const;
    void GetChannelJobList(long channel_id, wxArrayLong & ids) const;

    virtual void Clear() { _items.clear(); }

    // Replaces the table by the groups at the current path. A job that loads badly is kept, with an error
    // line and the result false. Throws VELM_Error when two jobs have the same id.
    bool Load(wxFileConfig & config);

    // Writes one group per job and flushes. Always true: a job that isn't saved gives an error line only.
    bool Save(wxFileConfig & config) const;

  private:
    // Position of the job, or -1.
    int Index(long job_id) const;

    // The same, but throws VELM_Error when the job isn't there; function: the caller's name, for the message.
    int ExistingIndex(long job_id, char const * function) const;

    std::vector<VELM_DeconvJobTableItem> _items;
};

} // namespace velm

#endif
