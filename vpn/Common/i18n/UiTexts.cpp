#include "vpn/Common/i18n/UiTexts.h"

namespace halvo {

const std::string textWindowTitle = "Halvo TOLM";
const std::string textRun = "Run";
const std::string textCancel = "Cancel";
const std::string textFinish = "Finish";
const std::string textWelcome = "Welcome to the Halvo Fieldcase (TOLM).";
const std::string textIntro =
    "TOLM is a tool that helps to bundle the appropriate log files and diagnostic information that can be "
    "used for analyzing and debugging the Tessarmont client connections.";
const std::string textEnableEncryption = "Enable Bundle Encryption";
const std::string textEncryptionPassword = "Encryption Password";
const std::string textMaskPassword = "Mask Password";
const std::string textBundleOnDesktop = "The bundle was created successfully on your Desktop.";
// The two blanks behind a full stop, here and below, are part of the keys: with one the translations aren't
// found.
const std::string textBundleCannotBeSaved =
    "The bundle cannot be saved in the location \"%s\".  Please specify another location and try again.";
const std::string textInternalError =
    "An internal error occurred while creating the TOLM bundle.  Please try again later.";
const std::string textUnknownError =
    "An unknown error occurred while creating the TOLM bundle, possibly due to restricted file permissions.  "
    "Please try again later.";
const std::string textAbout = "About TOLM";
const std::string textHide = "Hide TOLM";
const std::string textHideOthers = "Hide Others";
const std::string textShowAll = "Show All";
const std::string textQuit = "Quit TOLM";

const std::string textShowInFolder = "Show in Folder";
const std::string textPasswordEmpty = "Without a password the bundle is not encrypted.";
const std::string textDesktopMissing =
    "The bundle is saved in the folder \"%s\", which is missing or cannot be written to.";
const std::string textFilesLost =
    "Files that are cut short or missing in the bundle: %s. The system log names them.";

const std::vector<std::string>& uiTexts() {
  static const std::vector<std::string> texts = {textWindowTitle,
                                                 textRun,
                                                 textCancel,
                                                 textFinish,
                                                 textWelcome,
                                                 textIntro,
                                                 textEnableEncryption,
                                                 textEncryptionPassword,
                                                 textMaskPassword,
                                                 textBundleOnDesktop,
                                                 textBundleCannotBeSaved,
                                                 textInternalError,
                                                 textUnknownError,
                                                 textAbout,
                                                 textHide,
                                                 textHideOthers,
                                                 textShowAll,
                                                 textQuit};
  return texts;
}

const std::vector<std::string>& uiAidTexts() {
  static const std::vector<std::string> texts = {textShowInFolder, textPasswordEmpty, textDesktopMissing,
                                                 textFilesLost};
  return texts;
}

}  // namespace halvo
