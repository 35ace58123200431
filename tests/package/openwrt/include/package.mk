# See rules.mk. The recipes run one line at a time, as the packages' own recipes do.
define BuildPackage
ifeq ($(1),$(PACKAGE))
.PHONY: prepare configure install show
prepare:
	$$(Build/Prepare)
configure:
	cmake -G Ninja -S $$(PKG_BUILD_DIR) -B $$(PKG_BUILD_DIR)/objects $$(CMAKE_OPTIONS) \
		-DCMAKE_INSTALL_PREFIX=/usr
install:
	$$(call Package/$(1)/install,$$(TOPDIR)/root)
show:
	$$(info PKG_VERSION=$$(PKG_VERSION))
	@:
endif
endef
