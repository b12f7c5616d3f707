#include "vpn/tools/TOLM/TOLMAuthoring/check/PathCheck.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(PathCheckTest, PlacesOfSecretsAreKnown) {
  for (const char* path : {"$HOME/.ssh/id_rsa",
                           "/home/me/.ssh/*",
                           "/root/.ssh",
                           "/etc/shadow",
                           "/etc/sh*",
                           "/etc/*",
                           "/etc/NetworkManager/system-connections/*",
                           "$HOME/.local/share/keyrings/*",
                           "/x/client.p12",
                           "/etc/ssl/private/*",
                           "/etc/ssh/ssh_host_rsa_key",
                           "$HOME/.mozilla/firefox/*",
                           "/x/server.key",
                           "$HOME/.config/google-chrome/Default/*",
                           "$HOME/*",
                           "/home/me/.*",
                           "/etc/wpa_supplicant/wpa_supplicant.conf",
                           "/etc/ppp/*",
                           "$HOME/.netrc",
                           "/etc/wireguard/wg0.conf",
                           "/etc/wpa_supplicant/*.conf",
                           "/var/log/../../etc//shadow"}) {
    EXPECT_NE(secretAt(path), "") << path;
  }
}

TEST(PathCheckTest, FoldersThatTakeASecretAlongAreKnown) {
  for (const char* path :
       {"/etc", "/etc/NetworkManager", "/etc/NetworkManager/*", "/etc/net*", "/etc/ssl/*", "/etc/ssh/*",
        "$HOME/.config/*", "$HOME/.s*", "/home/me/.local", "/home", "/home/*", "/home/me", "/root", "/*"}) {
    EXPECT_NE(secretAt(path), "") << path;
  }
}

TEST(PathCheckTest, OtherPlacesAreNoSecrets) {
  for (const char* path :
       {"", "/", "/var/log/*", "$HOME/.ssh/id_rsa.pub", "$HOME/.ssh/known_hosts", "$HOME/.ssh/config",
        "/etc/*.conf", "/etc/hosts", "/etc/ssh/sshd_config", "$HOME/.halvo/log/*", "/x/keys.txt", "/opt/x/*",
        "$HOME/.config/halvo/*", "/etc/NetworkManager/NetworkManager.conf", "/etc/NetworkManager/conf.d/*",
        "/etc/ssl/certs/*", "/home/me/.halvo"}) {
    EXPECT_EQ(secretAt(path), "") << path;
  }
}

TEST(PathCheckTest, PlacesThatBlockAreKnown) {
  for (const char* path : {"/proc/kmsg", "/dev/ttyS0", "/dev/*", "/sys/kernel/tracing/trace_pipe", "/proc/*",
                           "/proc/k*", "/proc", "/dev", "/*", "//dev/../proc/kmsg"}) {
    EXPECT_TRUE(isBlockingPath(path)) << path;
  }
  for (const char* path : {"/proc/cpuinfo", "/dev/null", "/dev/shm/x", "/development/x", "/var/log/kmsg",
                           "/proc/net/*", "proc/*"}) {
    EXPECT_FALSE(isBlockingPath(path)) << path;
  }
}

TEST(PathCheckTest, PlacesThatNobodyClearsAreKnown) {
  for (const char* path :
       {"/etc/x", "/usr/share/x", "/lib64/x", "/", "/*", "/home", "/home/*", "/home/me/*", "/root/*",
        "$HOME/*", "$HOME", "/etc", "/Users/me/*", "/var/log/../../etc/x", "//etc/x", "/./usr/x"}) {
    EXPECT_TRUE(isSystemPlace(path)) << path;
  }
  for (const char* path : {"/var/log/*", "/home/me/x/*", "$HOME/.halvo/*", "/opt/x/*.log", "/tmp/*", "",
                           "/home/me/*.log", "/libra/x"}) {
    EXPECT_FALSE(isSystemPlace(path)) << path;
  }
}

}  // namespace
}  // namespace halvo
