#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;

namespace tavrik {

class MCPLoginModel;

// The prompt that connects a tool server: names the skill and the service, then follows the
// login in the browser and shows why it failed if it did.
class MCPLoginWindow : public QWidget {
    Q_OBJECT
public:
    explicit MCPLoginWindow(MCPLoginModel* model, QWidget* parent = nullptr);

    // For tests and the screenshot tool.
    QLabel* heading() const { return m_heading; }
    QLabel* detail() const { return m_detail; }
    QPushButton* loginButton() const { return m_login; }
    QPushButton* cancelButton() const { return m_cancel; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void refresh();

    QPointer<MCPLoginModel> m_model;
    QLabel* m_heading;
    QLabel* m_detail;
    QPushButton* m_login;
    QPushButton* m_cancel;
};

} // namespace tavrik
