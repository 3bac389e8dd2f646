// CPageTopology: the 1394 adapters and cameras as a tree.
#include "gui/page_topology.h"

#include <QTreeWidget>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageTopology::CPageTopology(const CPageServices& services, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  auto* tree = new QTreeWidget;
  tree->setObjectName("topologyTree");
  // The only place the legacy switch shows: the older ordering of the tree.
  tree->setHeaderLabel(services.legacy ? "PCI and DCAM Device Topology - Legacy Ordering"
                                       : "PCI and DCAM Device Topology");
  layout->addWidget(tree, 1);
}
