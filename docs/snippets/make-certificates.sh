openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650 \
    -subj "/CN=Plant authority" -keyout ca.key -out ca.crt
openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
    -subj "/CN=Keyword server" -keyout server.key -out server.csr
printf 'subjectAltName = DNS:localhost, IP:127.0.0.1\n' >server.ext
printf 'basicConstraints = CA:FALSE\nextendedKeyUsage = serverAuth\n' >>server.ext
openssl x509 -req -in server.csr -CA ca.crt -CAkey ca.key -CAcreateserial -days 825 \
    -extfile server.ext -out server.crt
