# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

#! [program]
import sys

from PySide6.QtGui import QGuiApplication
from PySide6.QtQml import QQmlApplicationEngine

application = QGuiApplication(sys.argv)
engine = QQmlApplicationEngine()
engine.load(sys.argv[1])
exit_code = application.exec() if engine.rootObjects() else 1
del engine  # before the application
sys.exit(exit_code)
#! [program]
