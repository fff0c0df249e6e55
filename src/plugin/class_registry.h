// The class definitions handed to the host. They live for the process: the host keeps pointers
// into them and fills in the instance-data offset at registration.
#pragma once

#include "plugin/host_interface.h"

REALclassDefinition& PictureXQTClass();
REALclassDefinition& PictureFactoryXQTClass();
