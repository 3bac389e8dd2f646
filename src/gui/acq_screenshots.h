// Pictures of acquisition windows at work, for the README and for review.
#pragma once

class QDir;
class CAcqWindows;
class vxCameraList;

// Opens a window on each of the first three cameras, acquires continuously
// in all of them, saves the windows, a display console and a histogram, then
// unplugs the second camera (on a simulated bus) and saves its window and a
// neighbour. Returns how many pictures were saved.
int saveAcquisitionScreenshots(CAcqWindows& windows, vxCameraList& cameras, const QDir& dir);
