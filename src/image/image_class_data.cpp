#include "image/image_class_data.h"

#include "plugin/class_registry.h"

ImageClassData* ImageData(REALobject instance) {
  if (!instance) return nullptr;
  return reinterpret_cast<ImageClassData*>(reinterpret_cast<char*>(instance) +
                                           PictureXQTClass().forSystemUse);
}
