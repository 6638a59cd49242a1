#include "velm_deconv_job_table.h"

#include "velm_config.h"
#include "velm_error.h"

namespace velm {

bool VELM_DeconvJobTableItem::Load(wxFileConfig const & config)
{
    _channel_name = "Unknown";
    _deconv_channel_name.clear();
    return config::RecordReader(config, "velm::VELM_DeconvJobTableItem::Load: ")
        .Required("JOB_ID", _job_id, "Job id is not defined!")
        .Required("CHANNEL_ID", _channel_id, "Channel id is not defined!")
        .Required("CHANNEL_NAME", _channel_name, "Channel name is not defined!")
        .Required("DECONV_CHANNEL_NAME", _deconv_channel_name, "Deconvolved channel name is not defined!")
        .IsOk();
}

bool VELM_DeconvJobTableItem::Save(wxFileConfig & config) const
{
    char const * const function = VELM_FUNCTION;
    bool ok = true;
    auto const entry = [&](char const * key, auto const & value) {
        if (!config::Write(config, key, value)) {
            VELM_LOG_ERROR("%s: Cannot save the %s parameter!", function, key);
            ok = false;
        }
    };
    entry("JOB_ID", _job_id);
    entry("CHANNEL_ID", _channel_id);
    entry("CHANNEL_NAME", _channel_name);
    entry("DECONV_CHANNEL_NAME", _deconv_channel_name);
    return ok;
}

VELM_DeconvJobTable::~VELM_DeconvJobTable() = default;

void VELM_DeconvJobTable::Add(long job_id, long channel_id, wxString const & channel_name)
{
    Add(VELM_DeconvJobTableItem(job_id, channel_id, channel_name));
}

void VELM_DeconvJobTable::Add(VELM_DeconvJobTableItem const & item)
{
    if (Index(item.GetJobId()) >= 0) {
        throw VELM_Error(
            wxString::Format("%s: Item with job_id=%ld already exists!", VELM_FUNCTION, item.GetJobId()));
    }
    _items.push_back(item);
}

void VELM_DeconvJobTable::Remove(long job_id)
{
    _items.erase(_items.begin() + ExistingIndex(job_id, VELM_FUNCTION));
}

VELM_DeconvJobTableItem & VELM_DeconvJobTable::Get(long job_id)
{
    return _items[static_cast<std::size_t>(ExistingIndex(job_id, VELM_FUNCTION))];
}

VELM_DeconvJobTableItem const & VELM_DeconvJobTable::Get(long job_id) const
{
    return _items[static_cast<std::size_t>(ExistingIndex(job_id, VELM_FUNCTION))];
}

void VELM_DeconvJobTable::GetJobList(wxArrayLong & ids) const
{
    ids.clear();
    for (VELM_DeconvJobTableItem const & item : _items) {
        ids.push_back(item.GetJobId());
    }
}

void VELM_DeconvJobTable::GetChannelJobList(long channel_id, wxArrayLong & ids) const
{
    ids.clear();
    for (VELM_DeconvJobTableItem const & item : _items) {
        if (item.GetChannelId() == channel_id) {
            ids.push_back(item.GetJobId());
        }
    }
}

bool VELM_DeconvJobTable::Load(wxFileConfig & config)
{
    Clear();
    bool ok = true;
    config::ForEachGroup(config, [&](wxString const & group) {
        VELM_DeconvJobTableItem item;
        if (!item.Load(config)) {
            VELM_LOG_ERROR("Deconvolution job [%s] loading failed!", group);
            ok = false;
        }
        Add(item);
    });
    return ok;
}

bool VELM_DeconvJobTable::Save(wxFileConfig & config) const
{
    for (VELM_DeconvJobTableItem const & item : _items) {
        config::GroupScope const group(config, wxString::Format("DeconvJob%06ld", item.GetJobId()));
        if (!item.Save(config)) {
            VELM_LOG_ERROR("Deconvolution job id=%ld not saved.", item.GetJobId());
        }
    }
    config::Flush(config);
    return true;
}

int VELM_DeconvJobTable::Index(long job_id) const
{
    for (std::size_t i = 0; i < _items.size(); ++i) {
        if (_items[i].GetJobId() == job_id) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int VELM_DeconvJobTable::ExistingIndex(long job_id, char const * function) const
{
    int const index = Index(job_id);
    if (index < 0) {
        throw VELM_Error(wxString::Format("%s: Item with job_id=%ld not found!", function, job_id));
    }
    return index;
}

} // namespace velm
