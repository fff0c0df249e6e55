#pragma once

#include "plugin/member_table.h"

// Registers the quarter turns, half turns and mirrors of PictureXQT.
void AddGeometryMembers(ClassMembers& members);
