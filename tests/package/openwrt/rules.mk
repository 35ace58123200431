# Stand-in for the build system's rules.mk, include/package.mk and include/cmake.mk: the same
# words, and, for the one package named PACKAGE, a BuildPackage that prepares the sources, configures them with the host's own
# compiler, and installs, all below $(TOPDIR).
INCLUDE_DIR:=$(TOPDIR)/include
STAGING_DIR:=$(TOPDIR)/staging
PKG_BUILD_DIR=$(TOPDIR)/build/$(PKG_NAME)-$(PKG_VERSION)
PKG_INSTALL_DIR=$(PKG_BUILD_DIR)/ipkg-install
CP:=cp -fpR
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
