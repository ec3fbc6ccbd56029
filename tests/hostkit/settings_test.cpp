// The settings: files that are read whole or not at all.
#include "hostkit/settings.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/scratch_directory.h"

namespace {

TEST(settings, are_read_from_a_file_over_what_is_there_or_stay_as_they_were) {
    const scratch_directory scratch;
    scratch.put("good.ini",
                "; a remark\n[Lumo]\nnDisableJournalSave = 1\n[identity]\nempty=\n[server]\nurl = http://h/ \n");
    scratch.put("misspelt.ini", "[host]\njournal_sync=allways\n");
    scratch.put("broken.ini", "[server]\nurl=new\nthis line means nothing\n");
    hostkit::settings all;
    all.set("server", "url", "former");
    all.set("server", "token", "kept");
    EXPECT_THROW(all.load(scratch / "missing.ini"), std::runtime_error);
    EXPECT_THROW(all.load(scratch / "broken.ini"), std::runtime_error);
    EXPECT_EQ(all.get("server", "url", ""), "former");
    all.load(scratch / "good.ini");
    EXPECT_EQ(all.find_number("Lumo", "nDisableJournalSave"), 1);
    EXPECT_EQ(all.find("identity", "empty"), "");
    EXPECT_EQ(all.get("server", "url", ""), "http://h/");
    EXPECT_EQ(all.get("server", "token", ""), "kept");
    EXPECT_THROW(hostkit::load_process_settings(scratch / "misspelt.ini"), std::runtime_error);
    hostkit::process_settings().set("host", "journal_sync", "none");
}

}  // namespace
