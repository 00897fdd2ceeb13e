// SPDX-License-Identifier: MIT
#include "trend.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <limits>

using kvlink::SteadyTime;
using namespace std::chrono_literals;

namespace
{
constexpr kvlink::Duration span = 60s;
constexpr kvlink::Duration step = 250ms; // between two points
constexpr kvlink::Duration longest = 1s; // a longer way between two points is a gap: this program was busy
constexpr int divisions = 4;

SteadyTime now()
{
    return std::chrono::time_point_cast<kvlink::Duration>(std::chrono::steady_clock::now());
}
} // namespace

Trend::Trend(double least, double most, const QString &unit) : m_least(least), m_most(most), m_unit(unit)
{
    connect(&m_clock, &QTimer::timeout, this, &Trend::takePoint);
    m_clock.start(std::chrono::duration_cast<std::chrono::milliseconds>(step));
}

void Trend::show(const kvlink::Sample &sample)
{
    m_newest = sample;
    takePoint();
}

QSize Trend::sizeHint() const
{
    return {600, 180};
}

void Trend::takePoint()
{
    const SteadyTime time = now();
    m_points.push_back(
        {time, m_newest.isGood() ? m_newest.toDouble() : std::numeric_limits<double>::quiet_NaN()});
    while (m_points.front().time < time - span)
        m_points.pop_front();
    update();
}

void Trend::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int left = fontMetrics().horizontalAdvance("00000 " + m_unit);
    const QRectF area = QRectF(rect()).adjusted(left, 8, -8, -8 - fontMetrics().height());
    painter.fillRect(area, Qt::white);
    drawGrid(painter, area);
    drawCurve(painter, area);
}

void Trend::drawGrid(QPainter &painter, const QRectF &area) const
{
    const double lineHeight = fontMetrics().height();
    for (int i = 0; i <= divisions; ++i) {
        const double part = double(i) / divisions, y = area.bottom() - part * area.height(),
                     x = area.left() + part * area.width();
        painter.setPen(QColor(0xd8, 0xd8, 0xd8));
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        painter.drawLine(QPointF(x, area.top()), QPointF(x, area.bottom()));
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRectF(0, y - lineHeight / 2, area.left() - 6, lineHeight), Qt::AlignRight,
                         QString::number(m_least + part * (m_most - m_least)) + " " + m_unit);
        const QString before = QString::number(double(i - divisions) * 60 / divisions) + " s";
        painter.drawText(QRectF(x - 30, area.bottom() + 4, i < divisions ? 60 : 34, lineHeight),
                         Qt::AlignHCenter, before);
    }
}

void Trend::drawCurve(QPainter &painter, const QRectF &area) const
{
    using Seconds = std::chrono::duration<double>;
    const SteadyTime right = now();
    const auto place = [&](const Point &point) {
        const double age = Seconds(right - point.time) / Seconds(span);
        const double part = (point.value - m_least) / (m_most - m_least);
        return QPointF(area.right() - age * area.width(), area.bottom() - part * area.height());
    };
    painter.setClipRect(area);
    QPainterPath curve;
    const Point *before = nullptr;
    for (const Point &point : m_points) {
        const bool isGap = before == nullptr || point.time - before->time > longest;
        const QPointF at = place(point);
        if (std::isnan(point.value) || (before != nullptr && std::isnan(before->value)) || isGap) {
            // No line leads here: what is not known is a hatched strip.
            const double from = before != nullptr ? place(*before).x() : at.x();
            if (before != nullptr)
                painter.fillRect(QRectF(from, area.top(), at.x() - from, area.height()),
                                 QBrush(QColor(0xc0, 0x90, 0x90), Qt::BDiagPattern));
            if (!std::isnan(point.value))
                curve.moveTo(at);
        } else {
            curve.lineTo(at);
        }
        before = &point;
    }
    painter.setPen(QPen(QColor(0x20, 0x60, 0xb0), 2));
    painter.drawPath(curve);
}
