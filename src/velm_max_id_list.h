#ifndef VELM_MAX_ID_LIST_H
#define VELM_MAX_ID_LIST_H

// Loading and saving of the lists that keep the highest id ever given out in their file. Internal to the
// library.

#include "velm_config.h"
#include "velm_list.h"

namespace velm::detail {

constexpr char const * MAX_ID_GROUP = "MaxId";
constexpr char const * MAX_ID_KEY = "MAX_ID";

// Replaces the list by the groups at the current path, all but the one of the highest id. A record that
// loads badly is kept. function: the list's own operation, for messages; what: a record's name in them.
// max_id: the list's.
template <typename T>
bool LoadWithMaxId(wxFileConfig & config, VELM_List<T> & list, long & max_id, char const * function,
                   char const * what)
{
    list.Clear();
    bool ok = true;
    long largest = 0;
    config::ForEachGroup(config, [&](wxString const & group) {
        if (group == MAX_ID_GROUP) {
            return;
        }
        T item;
        if (!item.Load(config)) {
            VELM_LOG_ERROR("%s: %s [%s] loading failed.", function, what, group);
            ok = false;
        }
        list.Add(item);
        largest = std::max(largest, item.GetId());
    });

    config::GroupScope const group(config, MAX_ID_GROUP);
    max_id = config::ReadOr(config, MAX_ID_KEY, 0l);
    if (max_id < largest) {
        VELM_LOG_WARNING("%s: Max ID mismatch", function);
        max_id = largest;
    }
    return ok;
}

// Writes each record to a group of its own, then the highest id, and flushes. The path is inside the last
// group afterwards. group_format: a format for the group's name with a long for the id. not_saved: logs a
// record that isn't saved.
template <typename T, typename NotSaved>
bool SaveWithMaxId(wxFileConfig & config, VELM_List<T> const & list, long max_id, char const * group_format,
                   NotSaved const & not_saved)
{
    bool ok = true;
    for (unsigned int i = 0; i < list.GetCount(); ++i) {
        config::GroupScope const group(config, wxString::Format(group_format, list[i].GetId()));
        if (!list[i].Save(config)) {
            not_saved(list[i]);
            ok = false;
        }
    }
    config.SetPath(MAX_ID_GROUP);
    config::Write(config, MAX_ID_KEY, max_id);
    config::Flush(config);
    return ok;
}

} // namespace velm::detail

#endif
