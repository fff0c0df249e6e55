// Fills the class definitions of PictureXQT and PictureFactoryXQT from the members every
// subsystem contributes.
#pragma once

#include "plugin/member_table.h"

void BuildClassTables();

// The members as contributed, before the host's start-up adapts them (tests read these).
const ClassMembers& PictureXQTMembers();
const ClassMembers& PictureFactoryXQTMembers();
