// The check of an installation whose files belong to several users; what else it says is in the
// sessions.
#include "tests/support/installation.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using vn_test::Installation;

struct Check : testing::Test {
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can give files away";
        }
        run("chmod 711 . && chmod o-rx rw/lgc rw/prot && rm ro/bin/vn_client &&"
            "cp \"${VN_CLIENT%client}check\" ro/vns/vn_check && "
            "for name in su ps grep awk cp chmod mount mt ssh udevadm vn_client; do"
            "    echo '#!/bin/sh' >ro/vns/$name; chmod 755 ro/vns/$name;"
            "done");
    }

    // What the shell prints for a command in the installation; 47110 is a user and a group of whom
    // the machine knows nothing.
    std::string run(const std::string &command) const {
        const std::string check = "./ro/vns/vn_check -q -e \"$PWD/etc\" -p \"$PWD/ro/vns\"";
        std::vector<std::string> environment = in.environment();
        environment.emplace_back("VN_CLIENT=" VN_CLIENT_PROGRAM);
        environment.push_back("CHECK=" + check);
        vn_test::CallOptions options;
        options.directory = in.dir;
        return in.normalised(run_program({"/bin/sh", "-c", command}, environment, options).out);
    }

    Installation in;
};

constexpr char kOwner[] = "47110, the installation's owner, cannot ";

TEST_F(Check, StrangersFilesAreNamed) {
    EXPECT_EQ(run("eval $CHECK"), "");
    EXPECT_EQ(run("chown 47110 vorna.ini; eval $CHECK; chown 0 vorna.ini"),
              "wrong: its owner 47110 can change <dir>/vorna.ini and thereby the central file; "
              "mend: chown root <dir>/vorna.ini\n");
    EXPECT_EQ(run("chgrp 47110 rw/glbv; chmod g+w rw/glbv; eval $CHECK; chgrp 0 rw/glbv"),
              "wrong: group 47110 can change <dir>/rw/glbv and thereby the global variables; "
              "mend: chmod g-w <dir>/rw/glbv\n");
    EXPECT_EQ(run("chmod g+w rw/glbv rw/ini; eval $CHECK"), "") << "root is alone in its group";
}

TEST_F(Check, OwnerHasToDoWhatRootCan) {
    EXPECT_EQ(run("chown -R 47110 rw; eval $CHECK"), "") << "the owner may change what is his";
    EXPECT_EQ(run("chmod 700 .; eval $CHECK; chmod 711 ."),
              std::string("doubtful: [Pathes] gv_ro: ") + kOwner +
                  "enter <dir>; mend: chmod or chown <dir>\n");
    EXPECT_EQ(run("chown 0 rw/work; eval $CHECK; chown 47110 rw/work"),
              std::string("doubtful: [Pathes] gv_rw_work: ") + kOwner +
                  "read, write, enter <dir>/rw/work/; mend: chown 47110 <dir>/rw/work/ or let only "
                  "root run the agent\n");
    EXPECT_EQ(run("chown 0 rw/glbv/gv_prot.sgv; eval $CHECK"),
              std::string("doubtful: variable gv_prot: ") + kOwner +
                  "read, write <dir>/rw/glbv/gv_prot.sgv; mend: chown 47110 "
                  "<dir>/rw/glbv/gv_prot.sgv or let only root run the agent\n");
}

TEST_F(Check, OutsiderIsToldWhatHeMayNotSee) {
    EXPECT_EQ(run("su -p -s /bin/sh nobody -c \"$CHECK\""),
              "doubtful: looked at as nobody, who is neither root nor the owner of <dir>/rw/: what "
              "may be done there is judged by modes alone; mend: run the check as root\n"
              "doubtful: [Pathes] gv_rw_lgc: <dir>/rw/lgc/ was not looked at, nobody may not; "
              "mend: let root or the user who runs the agent look\n"
              "doubtful: variable gv_prot: <dir>/rw/prot/ was not looked at, nobody may not; mend: "
              "let root or the user who runs the agent look\n");
}

} // namespace
