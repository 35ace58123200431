# See rules.mk.
