// WizardStyle: the desktop's own style, but for one icon: that of the button which a menu bar shows where its
// menus don't fit. The wizard's holds a single menu that always fits, and to read the icon the toolkit loads
// each of its plugins for pictures before the window is drawn.
//
// For QApplication::setStyle() once the application stands; before, the toolkit doesn't know yet which style
// the desktop wants. The application owns it. The thread of the toolkit alone.

#pragma once

#include <QtWidgets/QProxyStyle>

namespace halvo {

class WizardStyle : public QProxyStyle {
 public:
  [[nodiscard]] QIcon standardIcon(StandardPixmap icon, const QStyleOption* option,
                                   const QWidget* widget) const override {
    return icon == SP_ToolBarHorizontalExtensionButton ? QIcon()
                                                       : QProxyStyle::standardIcon(icon, option, widget);
  }
};

}  // namespace halvo
