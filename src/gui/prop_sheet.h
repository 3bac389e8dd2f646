// DcamPralixPropSheet: the tree of page titles beside the selected page.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class QLabel;
class QSplitter;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;
class CPageInfo;
class CPageTopology;
class CPageRegRW;
class CPageRegDump;
class CPageTroubleShoot;
class CPageInstall;
class CPageDCAMProps;
class CPageTestCamera;
class CPageFormats;
class CPageUTValidate;

class DcamPralixPropSheet : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kEmptyGroupText = "Select a sub-page";

  DcamPralixPropSheet(const QString& caption, const CPageServices& services,
                      QWidget* parent = nullptr);

  const QString& caption() const { return m_caption; }

  // Puts the page in the tree by its window title: "Group::Page" goes under
  // the group's node, a bare "Group" becomes the group node's own page.
  void addPage(QWidget* page);

  QTreeWidget* tree() const { return m_tree; }
  // The page shown now (the "Select a sub-page" page for an empty group).
  QWidget* currentPage() const;
  // Selects the tree node of that caption ("Group" or "Group::Page").
  bool selectPage(const QString& caption);
  // The captions of all tree nodes, in tree order.
  QStringList nodeCaptions() const;

  CPageInfo* pageInfo() const { return m_pageInfo; }
  CPageRegRW* pageRegRW() const { return m_pageRegRW; }
  CPageTopology* pageTopology() const { return m_pageTopology; }

 private:
  QTreeWidgetItem* groupNode(QTreeWidgetItem* parent, const QString& name);
  QTreeWidgetItem* findNode(const QString& caption) const;
  void showNode(QTreeWidgetItem* item);

  QString m_caption;
  QTreeWidget* m_tree;
  QSplitter* m_splitter;
  QStackedWidget* m_stack;
  QWidget* m_emptyGroupPage;

  CPageInfo* m_pageInfo;
  CPageTopology* m_pageTopology;
  CPageRegRW* m_pageRegRW;
  CPageRegDump* m_pageRegDump;
  CPageTroubleShoot* m_pageTroubleShoot;
  CPageInstall* m_pageInstall;
  CPageDCAMProps* m_pageDCAMProps;
  CPageTestCamera* m_pageTestCamera;
  CPageFormats* m_pageFormats;
  CPageUTValidate* m_pageUTValidate;
};
