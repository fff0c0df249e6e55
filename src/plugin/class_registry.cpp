#include "plugin/class_registry.h"

REALclassDefinition& PictureXQTClass() {
  static REALclassDefinition definition{};
  return definition;
}

REALclassDefinition& PictureFactoryXQTClass() {
  static REALclassDefinition definition{};
  return definition;
}
