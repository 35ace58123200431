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
	$$(foreach name,PKG_NAME PKG_VERSION PKG_BUILD_DIR PKG_INSTALL_DIR,$$(info $$(name)=$$($$(name))))
	$$(info $$(Package/$(1)))
	@:
endif
endef
