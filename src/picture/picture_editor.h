// Direct pixel access to host pictures.
//
// PictureEditor locks a host picture's bitmap (the desktop kind of the system, or a gd true-colour
// image in console and web applications; picture/picture_kinds.h reads each kind), walks its rows
// and hands a finished picture back to the host. PictureReader and PictureWriter are the same
// editor used for reading an existing picture or building a new one. Host thread only; nothing here
// raises a host exception.
#pragma once

#include <cstdint>

#include "picture/picture_kinds.h"
#include "plugin/host_interface.h"

// Which kind of application hosts the plug-in: probed once per start-up, and set again by a
// successful desktop lock or gd lock (console).
extern bool IsDesktop;
extern bool IsConsole;

// Looks up the host's application classes the first time it is called after a start-up.
void ProbeApplicationKind();

class PictureEditor {
 public:
  PictureEditor() = default;
  PictureEditor(const PictureEditor&) = delete;
  PictureEditor& operator=(const PictureEditor&) = delete;
  virtual ~PictureEditor();

  // Locks an existing host picture; false (editor idle) when it cannot be locked.
  bool GetPictureEditor(REALpicture picture, bool reading = true, bool writing = false);
  // The lock proper; attempt 1 may read through a plain copy, attempt 2 is the try on that copy.
  bool GetPictureEditorInternal(REALpicture picture, bool reading, bool writing, int attempt);
  // Locks the description of one kind, or the picture's own kind, and takes its bitmap over.
  bool GetPictureEditorOfKind(REALpicture picture, uint32_t kind, bool withAlpha);
  bool GetPictureEditorOwnKind(REALpicture picture, bool withAlpha);

  // Next row; past the last row the current row falls back to row 0, so that a caller that
  // runs away keeps reading and writing inside the bitmap.
  void AddPixelRow();
  // Ends editing: the held picture (one reference for the caller) or one built from
  // buildBuffer, or nil. Clears the editor.
  REALpicture RenderPictureWriter();
  // Unlocks and releases everything; the editor is idle afterwards.
  void clear();

  uint64_t rowBytes = 0;
  int64_t width = 0;
  int64_t height = 0;
  int64_t bytesPerPixel = 0;
  uint64_t warningCount = 0;
  int64_t verticalResolution = 0;
  int64_t horizontalResolution = 0;
  picture_io::PictureLayout layout = picture_io::PictureLayout::kAlphaFirst;
  bool alphaIsPadding = false;  // the fourth byte of a pixel holds no alpha
  uint8_t* currentRow = nullptr;
  PictureBitmap bitmap;  // as the kind's reader found it
  uint8_t* buildBuffer = nullptr;
  uint8_t* pixelBase = nullptr;
  int64_t x = 0;
  int64_t y = 0;
  REALpicture picture = nullptr;
  int** rowPointers = nullptr;  // gd's row table, else null
  bool hasAlphaChannel = false;
  bool lockedWithAlpha = false;
  bool reading = false;
  bool writing = false;
  bool needPictureUnlock = false;

 private:
  // Takes the picture over once its description is locked and its bitmap read.
  void SetPicture(REALpicture locked);
  void TakeBitmap(REALpicture locked, const PictureBitmap& read, bool withAlpha);
  void ReadResolutions();
  bool ReadThroughCopy(REALpicture source);
  // Counts a row warning; true while it may still be logged.
  bool Warn();
};

class PictureReader : public PictureEditor {};

class PictureWriter : public PictureEditor {
 public:
  // A new opaque 32-bit host picture locked for writing; sizes of 32768 or more are refused.
  bool NewPictureWriter(int64_t width, int64_t height);
  // The same with an alpha channel when `alpha` is true (a plain one when that fails).
  bool NewPictureWriter(int64_t width, int64_t height, bool alpha);
};

// A new host picture with an alpha channel (one reference for the caller), or nil.
REALpicture NewPictureWithAlphaChannel(int64_t width, int64_t height);

// The picture's mask (one reference for the caller), or nil. Never creates one: `create` is
// accepted for the callers' sake and ignored on purpose.
REALpicture MyREALGetPictureMask(REALpicture picture, bool create);

// Assigns a mask through the picture's mask setter; false when the host has no setter.
bool SetPictureMask(REALpicture picture, REALpicture mask);

// Integer and boolean properties of host objects; false when the host cannot read them.
bool PictureInteger(REALobject object, const char* name, int64_t& value);
bool PictureBoolean(REALobject object, const char* name, bool& value);
