// SPDX-License-Identifier: MIT
// A curve of the last minute, with gaps where there was no good value.
#pragma once

#include "widgets.h"

#include <QTimer>

#include <deque>

class QPainter;

class Trend : public QWidget, public Shown
{
public:
    Trend(double least, double most, const QString &unit);

    void show(const kvlink::Sample &sample) override;
    using QWidget::show;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Point {
        kvlink::SteadyTime time;
        double value; ///< NaN: not good
    };

    void takePoint();
    void drawGrid(QPainter &painter, const QRectF &area) const;
    void drawCurve(QPainter &painter, const QRectF &area) const;

    double m_least, m_most;
    QString m_unit;
    kvlink::Sample m_newest;
    std::deque<Point> m_points; ///< of the last minute, oldest first
    QTimer m_clock;
};
