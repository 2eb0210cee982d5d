#include "transport/Localization.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace Vireo {
namespace {

namespace fs = std::filesystem;

// NLSPATH points at a directory of the test's own, so that only its catalog can answer.
class Catalog : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "vireo_catalog_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        setenv("NLSPATH", (directory / "%N.cat").c_str(), 1);
    }
    void TearDown() override {
        loc::close();
        unsetenv("NLSPATH");
        fs::remove_all(directory);
    }

    fs::path directory;
};

TEST_F(Catalog, WithoutACatalogTheDefaultTextAnswers) {
    EXPECT_EQ(loc::al(1, 1, "Camera not found"), "Camera not found");  // before init
    EXPECT_FALSE(loc::init());
    EXPECT_EQ(loc::al(1, "Camera not found"), "Camera not found");
    EXPECT_EQ(loc::al(3, 7, nullptr), "");
}

TEST_F(Catalog, AnInstalledCatalogAnswersWithItsTexts) {
    std::ofstream(directory / "vireo.msg") << "$set 1\n1 Kamera nicht gefunden\n2 Zeit abgelaufen\n$set 2\n1 Zweiter Satz\n";
    const std::string gencat = "gencat " + (directory / "vireo.cat").string() + " " + (directory / "vireo.msg").string();
    if (std::system((gencat + " 2>/dev/null").c_str()) != 0) GTEST_SKIP() << "gencat is not available";
    ASSERT_TRUE(loc::init());
    EXPECT_TRUE(loc::init());  // already open
    EXPECT_EQ(loc::al(1, "Camera not found"), "Kamera nicht gefunden");
    EXPECT_EQ(loc::al(1, 2, "Timeout"), "Zeit abgelaufen");
    EXPECT_EQ(loc::al(2, 1, "Second set"), "Zweiter Satz");
    EXPECT_EQ(loc::al(1, 99, "Not translated"), "Not translated");
    loc::close();
    EXPECT_EQ(loc::al(1, "Camera not found"), "Camera not found");
}

} // namespace
} // namespace Vireo
