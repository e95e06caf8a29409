openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
    -subj "/CN=$1" -keyout "$1.key" -out "$1.csr"
printf 'basicConstraints = CA:FALSE\nextendedKeyUsage = clientAuth\n' >client.ext
openssl x509 -req -in "$1.csr" -CA ca.crt -CAkey ca.key -CAcreateserial -days 825 \
    -extfile client.ext -out "$1.crt"
