// What the pages need from the program, handed to each page when it is built.
#pragma once

class QSettings;
class CPrompter;
class CAcqWindows;
class vxCameraList;

struct CPageServices {
  vxCameraList* cameras = nullptr;  // the program's camera list; never null for a page
  CPrompter* prompter = nullptr;    // every message box goes through it; never null
  QSettings* settings = nullptr;    // may be null: nothing is remembered then
  bool legacy = false;              // "-legacy" was on the command line
  CAcqWindows* acqWindows = nullptr;  // where acquisition windows are opened; may be null
};
