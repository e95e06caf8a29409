# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

complete -c keyword-gateway -f
complete -c keyword-gateway -l config -rF -d 'Serve what this configuration says'
complete -c keyword-gateway -l check -rF -d 'Check this configuration and end'
complete -c keyword-gateway -l mqtt -x -a 'mqtt:// mqtts://' -d 'Serve all topics of this broker'
complete -c keyword-gateway -l mount -x -d 'The path under which the topics are'
complete -c keyword-gateway -l port -x -d 'The port to listen on'
complete -c keyword-gateway -l dump -d 'Print the configuration that it amounts to and end'
complete -c keyword-gateway -s h -l help -d 'Display help'
complete -c keyword-gateway -s v -l version -d 'Display the version'
