// A one-line hint over the photo editor while the text or sticker tool is
// open: how to move, resize, rotate and delete the canvas's objects. It
// sits just above whichever of the watched bars is shown, lets the pointer
// through and is not part of the canvas, so never of the report image.
#pragma once

#include "tessivo_export.h"

#include <QLabel>
#include <QList>
#include <QPointer>

namespace tessivo {

class TESSIVO_EXPORT EditingHint : public QLabel
{
    Q_OBJECT
public:
    static const QString kText;

    /// A child of `editor`, shown while one of `bars` is.
    EditingHint(QWidget *editor, const QList<QWidget *> &bars);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void place();
    void applyColors();

    QList<QPointer<QWidget>> m_bars;
};

} // namespace tessivo
