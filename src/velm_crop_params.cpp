#include "velm_crop_params.h"

#include "velm_config.h"

namespace velm {

void VELM_CropParams::Load(wxConfigBase const & config)
{
    _parent_id = config::ReadOr(config, "CROP_PARENT_ID", 0l);
    _offset_x = config::ReadOr(config, "CROP_OFFSET_X", 0.0f);
    _offset_y = config::ReadOr(config, "CROP_OFFSET_Y", 0.0f);
    _size_x = config::ReadOr(config, "CROP_SIZE_X", 0.0f);
    _size_y = config::ReadOr(config, "CROP_SIZE_Y", 0.0f);
}

bool VELM_CropParams::Save(wxConfigBase & config, char const * prefix) const
{
    return config::RecordWriter(config, prefix)
        .Entry("CROP_PARENT_ID", _parent_id)
        .Entry("CROP_OFFSET_X", double{_offset_x})
        .Entry("CROP_OFFSET_Y", double{_offset_y})
        .Entry("CROP_SIZE_X", double{_size_x})
        .Entry("CROP_SIZE_Y", double{_size_y})
        .IsOk();
}

} // namespace velm
