// Trigger models: how acquisitions of a FIFO are started.
#include "acquisition/trigger_model.h"

#include "base/format.h"

const std::vector<std::string>& vxTriggerModel::names() {
  static const std::vector<std::string> list = {
      "Manual Trigger - Software", "Auto Trigger - Hardware", "Semi Trigger - Hardware",
      "FreeRun Trigger - Software"};
  return list;
}

const std::string& vxTriggerModel::name() const {
  return names()[static_cast<size_t>(m_kind)];
}

vxPtrHandle<const vxTriggerModel> vxTriggerModel::make(Kind kind) {
  switch (kind) {
    case Kind::Manual:
    case Kind::Auto:
    case Kind::Semi:
    case Kind::FreeRun:
      return vxPtrHandle<const vxTriggerModel>(new vxTriggerModel(kind));
  }
  throw BadParams(vxFormat("Unknown trigger model %d.", static_cast<int>(kind)));
}

vxPtrHandle<const vxTriggerModel> vxTriggerModel::manual() {
  return make(Kind::Manual);
}
vxPtrHandle<const vxTriggerModel> vxTriggerModel::automatic() {
  return make(Kind::Auto);
}
vxPtrHandle<const vxTriggerModel> vxTriggerModel::semiAutomatic() {
  return make(Kind::Semi);
}
vxPtrHandle<const vxTriggerModel> vxTriggerModel::freeRun() {
  return make(Kind::FreeRun);
}

vxPtrHandle<const vxTriggerModel> vxTriggerModel::fromName(const std::string& name) {
  const auto& list = names();
  for (size_t i = 0; i < list.size(); ++i)
    if (list[i] == name) return make(static_cast<Kind>(i));
  throw BadParams(vxFormat("Unknown trigger model \"%s\".", name.c_str()));
}
