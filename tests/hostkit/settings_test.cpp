// The settings, and the numbers that the platform service answers from them.
#include "hostkit/settings.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "host/identity.h"
#include "tests/support/scratch_directory.h"

namespace {

TEST(settings, are_read_from_a_file_over_what_is_there_or_stay_as_they_were) {
    const scratch_directory scratch;
    scratch.put("good.ini",
                "; a remark\n[Lumo]\nnDisableJournalSave = 1\n[identity]\nempty=\n[server]\nurl = http://h/ \n");
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
}

TEST(settings, of_the_process_come_from_the_program_or_the_environment_and_promise_no_unknown_sync) {
    const scratch_directory scratch;
    scratch.put("program.ini", "[test]\nfrom=program\n");
    scratch.put("environment.ini", "[test]\nfrom=environment\n");
    scratch.put("misspelt.ini", "[host]\njournal_sync=allways\n");
    hostkit::settings& all = hostkit::process_settings();
    setenv("INDEX_IFACE_CONFIG", (scratch / "environment.ini").c_str(), 1);
    hostkit::load_process_settings();
    EXPECT_EQ(all.get("test", "from", ""), "environment");
    hostkit::load_process_settings(scratch / "program.ini");
    EXPECT_EQ(all.get("test", "from", ""), "program");
    EXPECT_THROW(hostkit::load_process_settings(scratch / "misspelt.ini"), std::runtime_error);
    all.set("host", "journal_sync", "none");
    unsetenv("INDEX_IFACE_CONFIG");
    EXPECT_NO_THROW(hostkit::load_process_settings());
}

}  // namespace
