// The property objects a FIFO carries.
#include "acquisition/acq_props.h"

#include "base/format.h"

void vxExposureProp::exposure(double value) {
  if (!vx_PropCheck::isTime(value))
    throw BadParams(vxFormat("The exposure %g is out of range: it must be 0 or more.", value));
  store(value);
}

void vxContrastBrightnessProp::contrastBrightness(double contrast, double brightness) {
  if (!vx_PropCheck::isFraction(contrast) || !vx_PropCheck::isFraction(brightness))
    throw BadParams(vxFormat("Contrast %g and brightness %g must both lie between 0 and 1.",
                             contrast, brightness));
  store({contrast, brightness});
}

void vxCameraBandwidthProp::bandwidth(double share) {
  if (!std::isfinite(share) || share <= 0.0 || share > 1.0)
    throw BadParams(vxFormat("The bandwidth share %g must lie above 0 and at most 1.", share));
  store(share);
}

void vxTriggerProp::triggerModel(vxPtrHandle<const vxTriggerModel> model) {
  if (!model) throw BadParams("A trigger model is needed.");
  vxTriggerSettings next = current();
  next.model = std::move(model);
  store(next);
}

void vxTriggerProp::triggerEnable(bool enable) {
  vxTriggerSettings next = current();
  next.enable = enable;
  store(next);
}

void vxTriggerProp::triggerDelay(double seconds) {
  if (!vx_PropCheck::isTime(seconds))
    throw BadParams(
        vxFormat("The trigger delay %g is out of range: it must be 0 or more.", seconds));
  vxTriggerSettings next = current();
  next.delay = seconds;
  store(next);
}

void vxTriggerProp::triggerPolarity(bool activeHigh) {
  vxTriggerSettings next = current();
  next.polarityHigh = activeHigh;
  store(next);
}

void vxStrobeProp::strobe(bool on) {
  vxStrobeSettings next = current();
  next.on = on;
  store(next);
}

void vxStrobeProp::strobeLine(int line) {
  if (line < 0 || line > 3)
    throw BadParams(vxFormat("Strobe line %d does not exist: lines are 0 to 3.", line));
  vxStrobeSettings next = current();
  next.line = line;
  store(next);
}

void vxStrobeProp::strobePolarity(bool activeHigh) {
  vxStrobeSettings next = current();
  next.polarityHigh = activeHigh;
  store(next);
}

void vxStrobeProp::strobeDuration(double seconds) {
  if (!vx_PropCheck::isTime(seconds))
    throw BadParams(
        vxFormat("The strobe duration %g is out of range: it must be 0 or more.", seconds));
  vxStrobeSettings next = current();
  next.duration = seconds;
  store(next);
}

void vxStrobeDelayProp::strobeDelay(double seconds) {
  if (!vx_PropCheck::isTime(seconds))
    throw BadParams(
        vxFormat("The strobe delay %g is out of range: it must be 0 or more.", seconds));
  store(seconds);
}

void vxRoiProp::roi(int x, int y, int width, int height) {
  if (x < 0 || y < 0 || width < 1 || height < 1)
    throw BadParams(vxFormat("The region %d,%d %dx%d is not valid.", x, y, width, height));
  store({x, y, width, height});
}

void vxTimeoutProp::timeout(double seconds) {
  if (std::isnan(seconds) || seconds <= 0.0)
    throw BadParams(vxFormat("The time-out %g must be above 0.", seconds));
  store(seconds);
}

void vxTriggerFilterProp::triggerFilter(double seconds) {
  if (!vx_PropCheck::isTime(seconds))
    throw BadParams(
        vxFormat("The trigger filter %g is out of range: it must be 0 or more.", seconds));
  store(seconds);
}
