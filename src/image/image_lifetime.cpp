#include "image/image_lifetime.h"

#include "plugin/host_api.h"

void ReleaseImageReferences(ImageClassData* image) {
  if (!image) return;
  StoreObject(&image->Parent, nullptr);
  StoreObject(&image->MemoryTarget, nullptr);
  StoreString(&image->FilePath, nullptr);
  StoreObject(&image->FileItem, nullptr);
  StoreObject(&image->Target, nullptr);
  StoreString(&image->Channel, nullptr);
  StoreObject(&image->Factory, nullptr);
}

void ImageDestructor(REALobject instance) { ReleaseImageReferences(ImageData(instance)); }
