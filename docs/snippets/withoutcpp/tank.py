# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

#! [program]
import sys

from PySide6.QtCore import QObject
from PySide6.QtGui import QGuiApplication
from PySide6.QtQml import QQmlApplicationEngine

application = QGuiApplication(sys.argv)
engine = QQmlApplicationEngine()
engine.load(sys.argv[1])
if not engine.rootObjects():
    sys.exit(1)

window = engine.rootObjects()[0]  # keep it: the objects found in it exist only as long as it does
level = window.findChild(QObject, "level")
application.aboutToQuit.connect(lambda: print("last level:", level.property("value")))

exit_code = application.exec()
del engine  # before the application
sys.exit(exit_code)
#! [program]
