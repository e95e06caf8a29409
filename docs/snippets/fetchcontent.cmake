# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

#! [fetch]
include(FetchContent)
FetchContent_Declare(pellixclient
    GIT_REPOSITORY https://git.example.com/pellixclient-keyword.git
    GIT_TAG v0.2.0
)
FetchContent_MakeAvailable(pellixclient)
#! [fetch]
