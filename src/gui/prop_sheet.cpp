// DcamPralixPropSheet: the tree of page titles beside the selected page.
#include "gui/prop_sheet.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QScrollArea>
#include <QSplitter>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

#include "gui/page_dcam_props.h"
#include "gui/page_formats.h"
#include "gui/page_info.h"
#include "gui/page_install.h"
#include "gui/page_reg_dump.h"
#include "gui/page_reg_rw.h"
#include "gui/page_test_camera.h"
#include "gui/page_topology.h"
#include "gui/page_trouble_shoot.h"
#include "gui/page_ut_validate.h"

namespace {

constexpr int kPageRole = Qt::UserRole;

QWidget* pageOf(const QTreeWidgetItem* item) {
  return item ? static_cast<QWidget*>(item->data(0, kPageRole).value<void*>()) : nullptr;
}

void setPageOf(QTreeWidgetItem* item, QWidget* page) {
  item->setData(0, kPageRole, QVariant::fromValue(static_cast<void*>(page)));
}

QString captionOf(const QTreeWidgetItem* item) {
  QStringList parts;
  for (; item; item = item->parent()) parts.prepend(item->text(0));
  return parts.join("::");
}

}  // namespace

DcamPralixPropSheet::DcamPralixPropSheet(const QString& caption, const CPageServices& services,
                                         QWidget* parent)
    : QWidget(parent), m_caption(caption) {
  setObjectName("propSheet");
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* splitter = new QSplitter(Qt::Horizontal);
  m_splitter = splitter;
  m_tree = new QTreeWidget;
  m_tree->setObjectName("pageTree");
  m_tree->setHeaderHidden(true);
  m_stack = new QStackedWidget;
  m_stack->setObjectName("pageStack");
  splitter->addWidget(m_tree);
  splitter->addWidget(m_stack);
  splitter->setStretchFactor(1, 1);
  splitter->setCollapsible(0, false);
  layout->addWidget(splitter);

  m_emptyGroupPage = new QWidget;
  m_emptyGroupPage->setObjectName("emptyGroupPage");
  auto* emptyLayout = new QVBoxLayout(m_emptyGroupPage);
  auto* emptyText = new QLabel(kEmptyGroupText);
  emptyText->setObjectName("emptyGroupText");
  emptyText->setAlignment(Qt::AlignCenter);
  emptyLayout->addWidget(emptyText);
  m_stack->addWidget(m_emptyGroupPage);

  m_pageInfo = new CPageInfo(services);
  m_pageTopology = new CPageTopology(services);
  m_pageRegRW = new CPageRegRW(services);
  m_pageRegDump = new CPageRegDump(services);
  m_pageTroubleShoot = new CPageTroubleShoot(services);
  m_pageInstall = new CPageInstall(services);
  m_pageDCAMProps = new CPageDCAMProps(services);
  m_pageTestCamera = new CPageTestCamera(services);
  m_pageFormats = new CPageFormats(services);
  m_pageUTValidate = new CPageUTValidate(services);

  addPage(m_pageInfo);
  addPage(m_pageTopology);
  addPage(m_pageFormats);
  addPage(m_pageRegRW);
  addPage(m_pageTestCamera);
  addPage(m_pageDCAMProps);
  addPage(m_pageRegDump);
  addPage(m_pageTroubleShoot);
  addPage(m_pageInstall);
  addPage(m_pageUTValidate);

  m_tree->expandAll();
  // The tree is as wide as its longest caption and no wider: in a narrow
  // window the room goes to the page.
  int widest = 0;
  for (QTreeWidgetItemIterator it(m_tree); *it; ++it) {
    int depth = 1;  // the branch of a top-level node takes one indentation too
    for (const QTreeWidgetItem* up = (*it)->parent(); up; up = up->parent()) ++depth;
    widest = std::max(widest, depth * m_tree->indentation() +
                                  m_tree->fontMetrics().horizontalAdvance((*it)->text(0)));
  }
  const int treeWidth = widest + 2 * m_tree->frameWidth() + 3 * m_tree->fontMetrics().averageCharWidth();
  m_tree->setMinimumWidth(treeWidth);
  m_splitter->setStretchFactor(0, 0);
  m_splitter->setSizes({treeWidth, std::max(1, width() - treeWidth)});
  connect(m_tree, &QTreeWidget::currentItemChanged, this,
          [this](QTreeWidgetItem* current) { showNode(current); });
  m_tree->setCurrentItem(m_tree->topLevelItem(0));
}

QTreeWidgetItem* DcamPralixPropSheet::groupNode(QTreeWidgetItem* parent, const QString& name) {
  const int count = parent ? parent->childCount() : m_tree->topLevelItemCount();
  for (int i = 0; i < count; ++i) {
    QTreeWidgetItem* child = parent ? parent->child(i) : m_tree->topLevelItem(i);
    if (child->text(0) == name) return child;
  }
  auto* node = parent ? new QTreeWidgetItem(parent, {name}) : new QTreeWidgetItem(m_tree, {name});
  setPageOf(node, m_emptyGroupPage);
  return node;
}

void DcamPralixPropSheet::addPage(QWidget* page) {
  const QStringList parts = page->windowTitle().split("::");
  QTreeWidgetItem* node = nullptr;
  for (const QString& part : parts) node = groupNode(node, part);
  setPageOf(node, page);
  // Pages scroll rather than squeeze when the window is small, and follow
  // its size otherwise.
  auto* scroller = new QScrollArea;
  scroller->setWidgetResizable(true);
  scroller->setFrameShape(QFrame::NoFrame);
  // The tab key goes from the tree straight to the page's first control;
  // the scroller follows the focus by itself.
  scroller->setFocusPolicy(Qt::NoFocus);
  scroller->setWidget(page);
  m_stack->addWidget(scroller);
}

QWidget* DcamPralixPropSheet::currentPage() const {
  QWidget* shown = m_stack->currentWidget();
  if (auto* scroller = qobject_cast<QScrollArea*>(shown)) return scroller->widget();
  return shown;
}

void DcamPralixPropSheet::showNode(QTreeWidgetItem* item) {
  QWidget* page = pageOf(item);
  if (!page) return;
  if (page == m_emptyGroupPage) {
    m_stack->setCurrentWidget(m_emptyGroupPage);
    return;
  }
  for (int i = 0; i < m_stack->count(); ++i) {
    auto* scroller = qobject_cast<QScrollArea*>(m_stack->widget(i));
    if (scroller && scroller->widget() == page) m_stack->setCurrentIndex(i);
  }
}

QTreeWidgetItem* DcamPralixPropSheet::findNode(const QString& caption) const {
  for (QTreeWidgetItemIterator it(m_tree); *it; ++it)
    if (captionOf(*it) == caption) return *it;
  return nullptr;
}

bool DcamPralixPropSheet::selectPage(const QString& caption) {
  QTreeWidgetItem* node = findNode(caption);
  if (!node) return false;
  m_tree->setCurrentItem(node);
  return true;
}

QStringList DcamPralixPropSheet::nodeCaptions() const {
  QStringList captions;
  for (QTreeWidgetItemIterator it(m_tree); *it; ++it) captions.append(captionOf(*it));
  return captions;
}
