// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

//! [tank]
#include <QtCore/QObject>

class Tank : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Label.level", "Level in %")
    Q_CLASSINFO("Label.setpoint", "Setpoint in %")
    Q_PROPERTY(double level READ level NOTIFY levelChanged)
    Q_PROPERTY(double setpoint READ setpoint WRITE setSetpoint NOTIFY setpointChanged)
    Q_PROPERTY(Mode mode MEMBER m_mode NOTIFY modeChanged)

public:
    enum Mode {
        Manual,
        Automatic
    };
    Q_ENUM(Mode)

    Tank() { startTimer(100); }

    double level() const { return m_level; }
    double setpoint() const { return m_setpoint; }
    void setSetpoint(double setpoint)
    {
        setpoint = qBound(0.0, setpoint, 100.0);
        if (setpoint == m_setpoint)
            return;
        m_setpoint = setpoint;
        Q_EMIT setpointChanged();
    }

Q_SIGNALS:
    void levelChanged();
    void setpointChanged();
    void modeChanged();

protected:
    // In automatic mode, the level follows the setpoint.
    void timerEvent(QTimerEvent *) override
    {
        if (m_mode == Manual || m_level == m_setpoint)
            return;
        m_level += qBound(-1.0, m_setpoint - m_level, 1.0);
        Q_EMIT levelChanged();
    }

private:
    double m_level = 40;
    double m_setpoint = 40;
    Mode m_mode = Automatic;
};
//! [tank]
