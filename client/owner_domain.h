// The key of an owner.
#ifndef OWNERLINK_CLIENT_OWNER_DOMAIN_H
#define OWNERLINK_CLIENT_OWNER_DOMAIN_H

#include <ownerlink/records.h>

#include <tuple>

namespace Ownerlink {

struct OwnerDomain {
    SsOperSysType os = DP;
    GroupOwner groupOwner = DATAMASTER;

    bool operator<(const OwnerDomain& other) const
    {
        return std::tie(os, groupOwner) < std::tie(other.os, other.groupOwner);
    }
};

}  // namespace Ownerlink

#endif
