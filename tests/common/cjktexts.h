#pragma once
// What the operator can read in a window, and the Chinese left in it: for the tests of the English
// interface. Walks a widget and all its descendants, shown or not (a tab not on top, a group the
// settings hide, a menu not open are read the same), and collects every text a widget shows:
// window titles, tool tips, status tips, labels, buttons, group box titles, tab texts, tool box
// items, line edits and their placeholders, text edits, combo box items, spin box prefixes,
// suffixes and special texts, progress bar texts, item views (headers and cells, display and tool
// tip), actions and menus, graphics scenes (text items) and charts (titles, axes, categories,
// series). Texts a widget paints itself (QPainter::drawText) are not seen: test those where they
// are made.

#include "common/cjk.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSet>
#include <QSpinBox>
#include <QTabBar>
#include <QTextEdit>
#include <QToolBox>
#include <QWidget>
#include <QtCharts/QAbstractAxis>
#include <QtCharts/QAbstractSeries>
#include <QtCharts/QBarCategoryAxis>
#include <QtCharts/QCategoryAxis>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>

#include <functional>

struct VisibleText {
    QString where;  // the widget's path of object names (or class names), and the text's kind
    QString text;
};

namespace cjktexts_detail {

inline QString nameOf(const QObject* o)
{
    const QString cls = QString::fromLatin1(o->metaObject()->className());
    return o->objectName().isEmpty() ? cls : QStringLiteral("%1(%2)").arg(o->objectName(), cls);
}

inline QString pathOf(const QWidget* w)
{
    QStringList parts;
    for (const QWidget* p = w; p; p = p->parentWidget()) parts.prepend(nameOf(p));
    return parts.join(QLatin1Char('/'));
}

struct Walker {
    QList<VisibleText> out;
    QSet<const QAction*> actions;

    void add(const QString& where, const QString& text)
    {
        if (!text.isEmpty()) out.append({where, text});
    }

    void addAction(const QString& where, const QAction* a)
    {
        if (!a || actions.contains(a)) return;
        actions.insert(a);
        const QString at = where + QStringLiteral(" action ") + a->objectName();
        add(at + QStringLiteral(" text"), a->text());
        if (a->toolTip() != a->text() && a->toolTip() != QString(a->text()).remove(QLatin1Char('&')))
            add(at + QStringLiteral(" toolTip"), a->toolTip());
        add(at + QStringLiteral(" statusTip"), a->statusTip());
        if (a->menu()) walk(a->menu());
    }

    void addModel(const QString& where, const QAbstractItemModel* model, const QModelIndex& parent, int& budget)
    {
        const int rows = model->rowCount(parent), cols = model->columnCount(parent);
        for (int r = 0; r < rows && budget > 0; ++r) {
            for (int c = 0; c < cols && budget > 0; ++c, --budget) {
                const QModelIndex i = model->index(r, c, parent);
                const QString at = where + QStringLiteral(" cell %1,%2").arg(r).arg(c);
                add(at, model->data(i, Qt::DisplayRole).toString());
                add(at + QStringLiteral(" toolTip"), model->data(i, Qt::ToolTipRole).toString());
                if (c == 0 && model->hasChildren(i)) addModel(at, model, i, budget);
            }
        }
    }

    void addChart(const QString& where, const QChart* chart)
    {
        if (!chart) return;
        add(where + QStringLiteral(" chart title"), chart->title());
        for (QAbstractAxis* axis : chart->axes()) {
            add(where + QStringLiteral(" axis title"), axis->titleText());
            if (auto* bars = qobject_cast<QBarCategoryAxis*>(axis))
                for (const QString& c : bars->categories()) add(where + QStringLiteral(" axis category"), c);
            if (auto* cats = qobject_cast<QCategoryAxis*>(axis))
                for (const QString& c : cats->categoriesLabels()) add(where + QStringLiteral(" axis category"), c);
        }
        for (const QAbstractSeries* s : chart->series()) add(where + QStringLiteral(" series name"), s->name());
    }

    void addScene(const QString& where, const QGraphicsScene* scene)
    {
        if (!scene) return;
        for (const QGraphicsItem* item : scene->items()) {
            if (const auto* t = dynamic_cast<const QGraphicsTextItem*>(item))
                add(where + QStringLiteral(" scene text"), t->toPlainText());
            else if (const auto* s = dynamic_cast<const QGraphicsSimpleTextItem*>(item))
                add(where + QStringLiteral(" scene text"), s->text());
            if (const auto* chart = dynamic_cast<const QChart*>(item)) addChart(where, chart);
            add(where + QStringLiteral(" scene toolTip"), item->toolTip());
        }
    }

    void addWidget(const QWidget* w)
    {
        const QString at = pathOf(w);
        if (w->isWindow()) add(at + QStringLiteral(" windowTitle"), w->windowTitle());
        add(at + QStringLiteral(" toolTip"), w->toolTip());
        add(at + QStringLiteral(" statusTip"), w->statusTip());
        add(at + QStringLiteral(" whatsThis"), w->whatsThis());
        for (const QAction* a : w->actions()) addAction(at, a);

        if (const auto* l = qobject_cast<const QLabel*>(w)) add(at + QStringLiteral(" text"), l->text());
        if (const auto* b = qobject_cast<const QAbstractButton*>(w)) add(at + QStringLiteral(" text"), b->text());
        if (const auto* g = qobject_cast<const QGroupBox*>(w)) add(at + QStringLiteral(" title"), g->title());
        if (const auto* e = qobject_cast<const QLineEdit*>(w)) {
            add(at + QStringLiteral(" text"), e->text());
            add(at + QStringLiteral(" placeholder"), e->placeholderText());
        }
        if (const auto* e = qobject_cast<const QTextEdit*>(w)) {
            add(at + QStringLiteral(" text"), e->toPlainText());
            add(at + QStringLiteral(" placeholder"), e->placeholderText());
        }
        if (const auto* e = qobject_cast<const QPlainTextEdit*>(w)) {
            add(at + QStringLiteral(" text"), e->toPlainText());
            add(at + QStringLiteral(" placeholder"), e->placeholderText());
        }
        if (const auto* c = qobject_cast<const QComboBox*>(w)) {
            for (int i = 0; i < c->count(); ++i) add(at + QStringLiteral(" item %1").arg(i), c->itemText(i));
            add(at + QStringLiteral(" placeholder"), c->placeholderText());
        }
        if (const auto* s = qobject_cast<const QAbstractSpinBox*>(w)) {
            add(at + QStringLiteral(" specialValueText"), s->specialValueText());
            add(at + QStringLiteral(" text"), s->text());
        }
        if (const auto* s = qobject_cast<const QSpinBox*>(w)) {
            add(at + QStringLiteral(" prefix"), s->prefix());
            add(at + QStringLiteral(" suffix"), s->suffix());
        }
        if (const auto* s = qobject_cast<const QDoubleSpinBox*>(w)) {
            add(at + QStringLiteral(" prefix"), s->prefix());
            add(at + QStringLiteral(" suffix"), s->suffix());
        }
        if (const auto* p = qobject_cast<const QProgressBar*>(w)) add(at + QStringLiteral(" text"), p->text());
        if (const auto* t = qobject_cast<const QTabBar*>(w)) {
            for (int i = 0; i < t->count(); ++i) {
                add(at + QStringLiteral(" tab %1").arg(i), t->tabText(i));
                add(at + QStringLiteral(" tab %1 toolTip").arg(i), t->tabToolTip(i));
            }
        }
        if (const auto* t = qobject_cast<const QToolBox*>(w)) {
            for (int i = 0; i < t->count(); ++i) {
                add(at + QStringLiteral(" item %1").arg(i), t->itemText(i));
                add(at + QStringLiteral(" item %1 toolTip").arg(i), t->itemToolTip(i));
            }
        }
        // The headers through their view's model, once; the cells up to a bound.
        if (const auto* v = qobject_cast<const QAbstractItemView*>(w); v && !qobject_cast<const QHeaderView*>(w)) {
            if (const QAbstractItemModel* m = v->model()) {
                for (int c = 0; c < m->columnCount(); ++c)
                    add(at + QStringLiteral(" header %1").arg(c), m->headerData(c, Qt::Horizontal).toString());
                for (int r = 0; r < m->rowCount(); ++r)
                    add(at + QStringLiteral(" row header %1").arg(r), m->headerData(r, Qt::Vertical).toString());
                int budget = 20000;
                addModel(at, m, QModelIndex(), budget);
            }
        }
        if (const auto* cv = qobject_cast<const QChartView*>(w)) addChart(at, cv->chart());
        if (const auto* gv = qobject_cast<const QGraphicsView*>(w)) addScene(at, gv->scene());
    }

    void walk(const QWidget* root)
    {
        if (!root) return;
        addWidget(root);
        for (const QWidget* w : root->findChildren<QWidget*>()) addWidget(w);
    }
};

}  // namespace cjktexts_detail

// Every text of root and its descendants.
inline QList<VisibleText> visibleTexts(const QWidget* root)
{
    cjktexts_detail::Walker walker;
    walker.walk(root);
    return walker.out;
}

// Those that hold a CJK character, each as "where: text".
inline QStringList cjkTexts(const QWidget* root)
{
    QStringList found;
    for (const VisibleText& t : visibleTexts(root))
        if (containsCjk(t.text)) found.append(t.where + QStringLiteral(": ") + t.text);
    return found;
}

// The same over every top-level widget on screen now: windows, dialogs, message boxes, menus (a
// dialog inside a window shown is read once).
inline QStringList cjkTextsOfTopLevels()
{
    QStringList found;
    for (const QWidget* w : QApplication::topLevelWidgets())
        if (w->isVisible()) found += cjkTexts(w);
    found.removeDuplicates();
    return found;
}
