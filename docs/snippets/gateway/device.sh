# Accepts setpoints for tank 1 up to 95, and reports the accepted value.
mosquitto_sub -t 'factory/tank1/setpoint/set' | while read -r value; do
    [ "${value%.*}" -le 95 ] || value=95
    mosquitto_pub -r -t factory/tank1/setpoint -m "$value"
done
