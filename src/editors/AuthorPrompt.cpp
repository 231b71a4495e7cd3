#include "editors/AuthorPrompt.h"

#include "platform/AlertController.h"

#include <QLineEdit>
#include <QPointer>

namespace tessivo {

AlertController *AuthorPrompt::make(const QString &generatedName,
                                    std::function<void(const QString &)> send)
{
    auto *alert = new AlertController(QStringLiteral("Add your name"),
                                      QStringLiteral("Or send anonymously with the randomly generated one below."),
                                      AlertControllerStyle::alert);
    alert->addTextField([generatedName](QLineEdit *field) { field->setPlaceholderText(generatedName); });
    QPointer<QLineEdit> field = alert->textFields().value(0);
    alert->addAction(AlertAction(QStringLiteral("Cancel"), AlertActionStyle::cancel));
    alert->addAction(AlertAction(QStringLiteral("Send"), AlertActionStyle::default_,
                                 [field, send = std::move(send)](const AlertAction &) {
                                     send(field ? field->text().trimmed() : QString());
                                 }));
    return alert;
}

} // namespace tessivo
