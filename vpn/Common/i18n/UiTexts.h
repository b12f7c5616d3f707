// The English texts of the user interface. Each is at the same time the key of its translation.
//
// Built by a static initialiser when the program starts and never changed; any thread may read them
// from main() on. The translations stand in l10n/*.po: a text that changes here changes there.

#pragma once

#include <string>
#include <vector>

namespace halvo {

extern const std::string textWindowTitle;
extern const std::string textRun;
extern const std::string textCancel;
extern const std::string textFinish;
extern const std::string textWelcome;
extern const std::string textIntro;
extern const std::string textEnableEncryption;
extern const std::string textEncryptionPassword;
extern const std::string textMaskPassword;
extern const std::string textBundleOnDesktop;
// The wizard shows its "%s" as the two characters: nothing fills it in.
extern const std::string textBundleCannotBeSaved;
extern const std::string textInternalError;
extern const std::string textUnknownError;
extern const std::string textAbout;
extern const std::string textHide;
extern const std::string textHideOthers;
extern const std::string textShowAll;
extern const std::string textQuit;

// All of the above, in that order.
const std::vector<std::string>& uiTexts();

// Texts of the wizard's aids, which stand beside those of its flow.
extern const std::string textShowInFolder;
extern const std::string textPasswordEmpty;
// The wizard fills its "%s" with the folder.
extern const std::string textDesktopMissing;
// And this one's with a number.
extern const std::string textFilesLost;

// These four, in that order. A language file holds them behind those of uiTexts().
const std::vector<std::string>& uiAidTexts();

}  // namespace halvo
