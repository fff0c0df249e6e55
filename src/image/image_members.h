#pragma once

#include "plugin/member_table.h"

// The properties, constants and methods of PictureXQT that belong to the image core.
void AddImageMembers(ClassMembers& members);
