vcl 4.1;
# The origin of tools/origin.nginx.conf; Varnish's built-in rules honour its Cache-Control.
backend origin { .host = "127.0.0.1"; .port = "8081"; }
