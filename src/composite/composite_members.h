#pragma once

#include "plugin/member_table.h"

// The members of PictureXQT that copy, clip and blend.
void AddCompositeMembers(ClassMembers& members);
