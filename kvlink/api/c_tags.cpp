// SPDX-License-Identifier: MIT
// The C face: the tags of a link.
#include "api/c_face.h"

#include "model/value_codec.h"

using kvlink::duration;
using kvlink::failed;

namespace kvlink
{
int noSuchTag(kvlink_tag tag)
{
    return failed(KVLINK_ENOTAG, QStringLiteral("there is no tag %1, or no longer").arg(tag));
}

int checkTags(kvlink_plc *plc, const kvlink_tag *tags, size_t count)
{
    if (plc == nullptr || (tags == nullptr && count > 0))
        return notUsable();
    for (size_t i = 0; i < count; ++i) {
        if (!plc->core.mailbox().hasTag(Tag(tags[i])))
            return noSuchTag(tags[i]);
    }
    return KVLINK_OK;
}
} // namespace kvlink

int kvlink_tag_settings_init(kvlink_tag_settings *settings, uint32_t version)
{
    return kvlink::initialise(settings, version, KVLINK_TAG_SETTINGS_INIT);
}

int kvlink_tag_add(kvlink_tag *out, kvlink_plc *plc, const char *address, const kvlink_tag_settings *settings)
{
    if (out == nullptr || plc == nullptr || address == nullptr)
        return kvlink::notUsable();
    const kvlink_tag_settings usual KVLINK_TAG_SETTINGS_INIT;
    const kvlink_tag_settings &given = settings == nullptr ? usual : *settings;
    if (const int error = kvlink::checkVersion(given.version); error < 0)
        return error;
    QString problem;
    kvlink::TagSettings tag;
    tag.address = QString::fromUtf8(address);
    if (!kvlink::parsePlace(tag.address, problem))
        return failed(KVLINK_EADDRESS, problem);
    tag.period = duration(given.period).value_or(kvlink::Duration(-1)); // refused below
    tag.scale = given.scale;
    tag.offset = given.offset;
    tag.deadband = given.deadband;
    if ((given.flags & KVLINK_TAG_READ_ONLY) != 0)
        tag.access = kvlink::Access::ReadOnly;
    tag.command = (given.flags & KVLINK_TAG_COMMAND) != 0;
    const kvlink::Tag added = plc->core.addTag(tag, &problem);
    if (!added.isValid())
        return failed(KVLINK_EINVAL, problem);
    *out = added.id();
    return KVLINK_OK;
}

int kvlink_tag_remove(kvlink_plc *plc, kvlink_tag tag)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    return plc->core.removeTag(kvlink::Tag(tag)) ? int(KVLINK_OK) : kvlink::noSuchTag(tag);
}

int kvlink_tag_set_period(kvlink_plc *plc, kvlink_tag tag, double period)
{
    const auto time = duration(period);
    if (plc == nullptr || !time)
        return kvlink::notUsable();
    if (!plc->core.mailbox().hasTag(kvlink::Tag(tag)))
        return kvlink::noSuchTag(tag);
    if (!plc->core.setPeriod(kvlink::Tag(tag), *time))
        return failed(KVLINK_EINVAL, QStringLiteral("a period must be between 0 and 86400 s"));
    return KVLINK_OK;
}
