-- The roles of a fleet's database, and the database itself. To be run once, by a superuser, on the primary:
--   psql --file roles.sql
-- Then `polaiga-collector migrate --database postgresql://polaiga_owner@HOST/polaiga` makes the tables and gives the
-- other roles the rights that they need. It is run again with each new version.
--
-- How a role proves who it is stands in pg_hba.conf: by a certificate (cert), or by a password (scram-sha-256) that
-- psql's command `\password polaiga_collector` sets, and that the program reads from a file (passfile=).

create role polaiga_owner login;      -- owns the tables; only `migrate` uses it
create role polaiga_collector login;  -- polaiga-collector: writes what controllers send
create role polaiga_viewer login;     -- reads: polaiga-alertmanager-fleet, and a page without operators
create role polaiga_operator login;   -- polaiga-web-fleet: reads, and asks for actions of operators

create database polaiga owner polaiga_owner encoding 'UTF8' template template0;
revoke all on database polaiga from public;
grant connect on database polaiga to polaiga_collector, polaiga_viewer, polaiga_operator;
