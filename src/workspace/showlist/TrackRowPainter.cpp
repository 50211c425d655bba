#include "workspace/showlist/TrackRowPainter.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <numbers>

#include "workspace/common/Theme.h"
#include "workspace/common/TimeText.h"

namespace ostinel::TrackRowPainter {
namespace {

constexpr int margin = 8;
constexpr int stripWidth = 6;
constexpr int numberWidth = 50;
constexpr int flagSize = 28;
constexpr int flagGap = 4;
constexpr int glyphSize = 22;
constexpr int lengthWidth = 62;

QFont pixelFont(int pixels, QFont::Weight weight) {
    QFont font;
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

const QFont& nameFont() {
    static const QFont font = pixelFont(17, QFont::DemiBold);
    return font;
}

const QFont& smallFont() {
    static const QFont font = pixelFont(12, QFont::Bold);
    return font;
}

const QFont& lengthFont() {
    static const QFont font = [] {
        QFont f = theme::clockFont(13);
        f.setPixelSize(17);
        return f;
    }();
    return font;
}

QColor blend(const QColor& under, const QColor& over, double amount) {
    return QColor::fromRgbF(float(under.redF() + (over.redF() - under.redF()) * amount),
                            float(under.greenF() + (over.greenF() - under.greenF()) * amount),
                            float(under.blueF() + (over.blueF() - under.blueF()) * amount));
}

void paintFlag(QPainter& p, const QRect& r, const QString& letter, bool lit, const QColor& litColor, bool editable) {
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5);
    if (lit) {
        p.setPen(Qt::NoPen);
        p.setBrush(editable ? litColor : litColor.darker(125));
    } else {
        p.setPen(QPen(theme::divider, 1.5));
        p.setBrush(Qt::NoBrush);
    }
    p.drawRoundedRect(box, 5, 5);
    p.setFont(smallFont());
    p.setPen(lit ? QColor(0x10, 0x12, 0x14) : theme::textDim);
    p.drawText(r, Qt::AlignCenter, letter);
}

// A ring with an arrowhead: the cue goes round.
void paintLoopGlyph(QPainter& p, const QRect& r) {
    const QRectF ring = QRectF(r).adjusted(4, 4, -4, -4);
    p.setPen(QPen(theme::loop, 2.2, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(ring, 60 * 16, 290 * 16);
    const QPointF tip(ring.center().x() + ring.width() / 2 * std::cos(std::numbers::pi / 3),
                      ring.center().y() - ring.height() / 2 * std::sin(std::numbers::pi / 3));
    QPainterPath head;
    head.moveTo(tip + QPointF(-5, -2));
    head.lineTo(tip + QPointF(1, 1));
    head.lineTo(tip + QPointF(-3, 5));
    p.drawPath(head);
}

// A stopwatch: timecode runs before the audio.
void paintPreRollGlyph(QPainter& p, const QRect& r) {
    const QRectF face = QRectF(r).adjusted(4, 6, -4, -2);
    p.setPen(QPen(theme::midiTrigger, 2.0, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(face);
    const QPointF c = face.center();
    p.drawLine(c, c + QPointF(0, -face.height() * 0.32));
    p.drawLine(c, c + QPointF(face.width() * 0.25, 0));
    p.drawLine(QPointF(c.x() - 2.5, face.top() - 3), QPointF(c.x() + 2.5, face.top() - 3));
}

void paintWarning(QPainter& p, const QRect& r) {
    const QRectF t = QRectF(r).adjusted(1, 2, -1, -2);
    QPainterPath path;
    path.moveTo(t.center().x(), t.top());
    path.lineTo(t.right(), t.bottom());
    path.lineTo(t.left(), t.bottom());
    path.closeSubpath();
    p.setPen(QPen(theme::warning, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(theme::warning);
    p.drawPath(path);
    p.setPen(QPen(QColor(0x10, 0x12, 0x14), 2.2, Qt::SolidLine, Qt::RoundCap));
    const double x = t.center().x();
    p.drawLine(QPointF(x, t.top() + t.height() * 0.38), QPointF(x, t.top() + t.height() * 0.68));
    p.drawPoint(QPointF(x, t.top() + t.height() * 0.84));
}

void paintTag(QPainter& p, const QRect& r, const QString& text, const QColor& color) {
    p.setPen(Qt::NoPen);
    p.setBrush(color);
    p.drawRoundedRect(QRectF(r), 4, 4);
    p.setFont(smallFont());
    p.setPen(QColor(0x10, 0x12, 0x14));
    p.drawText(r, Qt::AlignCenter, text);
}

// An outlined tag: a key the cue answers to.
void paintBadge(QPainter& p, const QRect& r, const QString& text, const QColor& color) {
    if (r.isNull()) return;
    p.setPen(QPen(color, 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    p.setFont(smallFont());
    p.drawText(r, Qt::AlignCenter, text);
}

} // namespace

RowLayout layout(const QRect& row, const Track& track, const RowBadges& badges, bool missing) {
    RowLayout l;
    const int cy = row.center().y();
    l.strip = QRect(row.left(), row.top(), stripWidth, row.height());
    l.number = QRect(row.left() + stripWidth, row.top(), numberWidth, row.height());

    int right = row.right() - margin + 1;
    auto takeFromRight = [&](int width, int height) {
        QRect r(right - width, cy - height / 2, width, height);
        right -= width;
        return r;
    };
    l.loopFlag = takeFromRight(flagSize, flagSize);
    right -= flagGap;
    l.skip = takeFromRight(flagSize, flagSize);
    right -= flagGap;
    l.autoplay = takeFromRight(flagSize, flagSize);
    right -= 10;
    l.length = takeFromRight(lengthWidth, row.height());
    right -= 4;
    const bool hasLoop = track.loopCue || track.loops.findIf([](const Loop& lp) { return lp.enabled; });
    if (missing) l.warning = takeFromRight(glyphSize + 2, glyphSize + 2);
    if (track.timecodePreRollEnabled) l.preRollGlyph = takeFromRight(glyphSize, glyphSize);
    if (hasLoop) l.loopGlyph = takeFromRight(glyphSize, glyphSize);
    auto takeBadge = [&](const QString& text) {
        if (text.isEmpty()) return QRect();
        right -= 4;
        return takeFromRight(std::max(22, QFontMetrics(smallFont()).horizontalAdvance(text) + 12), 22);
    };
    l.numberBadge = takeBadge(badges.number);
    l.midiBadge = takeBadge(badges.midi);
    const int nameLeft = l.number.right() + 1;
    l.name = QRect(nameLeft, row.top(), std::max(0, right - 6 - nameLeft), row.height());
    return l;
}

void paint(QPainter& p, const QRect& row, const Track& track, const RowLook& look) {
    p.save();
    const RowLayout l = layout(row, track, look.badges, look.missing);

    QColor background = look.number % 2 ? theme::panel : blend(theme::panel, theme::panelRaised, 0.45);
    if (look.inSelection) background = theme::selection;
    if (look.playing) background = blend(look.inSelection ? theme::selection : theme::panel, theme::go, 0.55);
    p.fillRect(row, background);
    // The row waiting for its key outshines the rest: the operator is
    // looking for it while reaching for the controller.
    if (look.learning) {
        p.fillRect(row, blend(background, theme::midiTrigger, 0.22));
        p.setPen(QPen(theme::midiTrigger, 2, Qt::DashLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(row).adjusted(1.5, 1.5, -1.5, -1.5));
    } else if (look.preselected) {
        const QColor amber = look.blinkLit ? theme::preselected : blend(background, theme::preselected, 0.25);
        p.fillRect(row, blend(background, amber, look.blinkLit ? 0.22 : 0.05));
        p.setPen(QPen(amber, 3));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(row).adjusted(1.5, 1.5, -1.5, -1.5));
    } else if (look.current && !look.inSelection) {
        p.setPen(QPen(theme::selection.lighter(140), 2));
        p.drawRect(QRectF(row).adjusted(1, 1, -1, -1));
    }
    p.fillRect(QRect(row.left(), row.bottom(), row.width(), 1), theme::window);
    if (track.colorHex) {
        const QColor color = theme::cueColor(*track.colorHex);
        if (color.isValid()) p.fillRect(l.strip, color);
    }

    p.setRenderHint(QPainter::Antialiasing);
    if (look.playing) {
        // A solid play arrow where the number was: readable from the back.
        const QPointF c = QRectF(l.number).center();
        const QRectF a(c.x() - 8, c.y() - 10, 18, 20);
        QPainterPath arrow;
        arrow.moveTo(a.topLeft());
        arrow.lineTo(a.right(), a.center().y());
        arrow.lineTo(a.bottomLeft());
        arrow.closeSubpath();
        p.setPen(Qt::NoPen);
        p.setBrush(theme::playing);
        p.drawPath(arrow);
    } else if (look.preselected || look.next) {
        // Where the number was, so the name keeps its room.
        const QRect pill = QRect(0, 0, 42, 20);
        const QColor amber = look.blinkLit ? theme::preselected : theme::preselected.darker(170);
        paintTag(p, pill.translated(l.number.center() - pill.center()), QStringLiteral("NEXT"),
                 look.preselected ? amber : theme::textDim);
    } else {
        p.setFont(pixelFont(15, QFont::Medium));
        p.setPen(theme::textDim);
        p.drawText(l.number, Qt::AlignCenter, QString::number(look.number));
    }

    const QRect nameArea = l.name;
    p.setFont(nameFont());
    p.setPen(track.skip && !look.playing ? theme::textDim : theme::text);
    const QString name = QString::fromStdString(track.displayName());
    p.drawText(nameArea, Qt::AlignVCenter | Qt::AlignLeft,
               QFontMetrics(nameFont()).elidedText(name, Qt::ElideRight, nameArea.width()));

    paintBadge(p, l.midiBadge, look.badges.midi, theme::midiTrigger);
    paintBadge(p, l.numberBadge, look.badges.number, theme::text);
    if (!l.loopGlyph.isNull()) paintLoopGlyph(p, l.loopGlyph);
    if (!l.preRollGlyph.isNull()) paintPreRollGlyph(p, l.preRollGlyph);
    if (!l.warning.isNull()) paintWarning(p, l.warning);

    p.setFont(lengthFont());
    p.setPen(track.skip ? theme::textDim : theme::text);
    p.drawText(l.length, Qt::AlignVCenter | Qt::AlignRight,
               QString::fromStdString(formatClock(track.effectiveLength())));

    paintFlag(p, l.autoplay, QStringLiteral("A"), track.autoplay, theme::go, look.editable);
    paintFlag(p, l.skip, QStringLiteral("S"), track.skip, theme::warning, look.editable);
    paintFlag(p, l.loopFlag, QStringLiteral("L"), track.loopCue, theme::loop, look.editable);

    p.restore();
}

} // namespace ostinel::TrackRowPainter
