#pragma once

#include "TavrikCore/Permissions/Permission.h"

namespace tavrik {

// How this desktop answers for each permission.
class PermissionBackend {
public:
    virtual ~PermissionBackend() = default;

    virtual PermissionStatus check(Permission permission) = 0;
    // Turns the permission on where the desktop lets a program do that itself; true when it did.
    virtual bool enable(Permission permission) = 0;
};

} // namespace tavrik
