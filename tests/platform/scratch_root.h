// A root folder of the test's own, named by ZENDRY_ROOT while the test runs.
#ifndef QV_TESTS_PLATFORM_SCRATCH_ROOT_H
#define QV_TESTS_PLATFORM_SCRATCH_ROOT_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

class ScratchRoot : public testing::Test {
protected:
    ScratchRoot() {
        std::string name = testing::TempDir() + "zendry.XXXXXX";
        root_ = mkdtemp(name.data());
        std::filesystem::create_directories(root_ + "/etc/config");
        setenv("ZENDRY_ROOT", root_.c_str(), 1);
    }
    ~ScratchRoot() override {
        unsetenv("ZENDRY_ROOT");
        std::filesystem::remove_all(root_);
    }

    std::string package_path(const std::string& package) const {
        return root_ + "/etc/config/" + package;
    }
    void write_package(const std::string& package, const std::string& text) const {
        std::ofstream(package_path(package), std::ios::binary) << text;
    }
    std::string read_package(const std::string& package) const {
        std::ifstream file(package_path(package), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string root_;
};

#endif
