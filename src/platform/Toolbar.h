// A bar of items; the editors use one with a flexible space and "Done" as
// the accessory above text input.
#pragma once

#include "tessivo_export.h"

#include <QPushButton>
#include <QWidget>

#include <functional>

class QHBoxLayout;

namespace tessivo {

class TESSIVO_EXPORT Toolbar : public QWidget
{
    Q_OBJECT
public:
    explicit Toolbar(QWidget *parent = nullptr);

    void addFlexibleSpace();
    /// A plain text button that runs `action`.
    QPushButton *addButton(const QString &title, std::function<void()> action);
    /// Its natural size ("sized to fit").
    void sizeToFit();

    /// The accessory bar of the editors: white, opaque, a flexible space
    /// and "Done".
    static Toolbar *doneToolbar(std::function<void()> done, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QHBoxLayout *m_layout = nullptr;
};

} // namespace tessivo
