#pragma once

#include "plugin/member_table.h"

// The members of PictureXQT that exchange pixels with host pictures: the constructor from a
// picture, the eight copies into pictures and the eighteen draws from pictures.
void AddPictureMembers(ClassMembers& members);
