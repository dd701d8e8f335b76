#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace nettest {

/// Makes the process act without root's rights, and as the owner of `directory`, for as long as it lives;
/// does nothing for a process that has no such rights.
class OrdinaryUser
{
public:
    explicit OrdinaryUser(const std::string& directory) : m_wasRoot(geteuid() == 0)
    {
        if (!m_wasRoot) return;
        EXPECT_EQ(chown(directory.c_str(), NOBODY, NOBODY), 0);
        EXPECT_EQ(seteuid(NOBODY), 0);
    }
    ~OrdinaryUser()
    {
        if (!m_wasRoot) return;
        EXPECT_EQ(seteuid(0), 0);
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr unsigned NOBODY = 65534;

    const bool m_wasRoot;
};

}  // namespace nettest
