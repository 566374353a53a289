-- The backup server's catalogue as a new installation finds it: the tables that the agent asks, with
-- one client for each way in which a client can be reached, and some that cannot.

create table if not exists oper_systems (
    os       varchar(30) primary key,
    platform varchar(20) not null
);

create table if not exists clients (
    client_id      integer primary key,
    name           varchar(64) not null unique,
    os             varchar(30) not null,
    accessmode     varchar(20) not null,
    access_options varchar(255) not null default 'NULL'
);

-- How a command is written on an operating system. PS_CMD lists the processes, PS_PID and PS_PPID are the
-- columns of process id and parent; BLANK stands for a single blank.
create table if not exists syntaxes (
    os      varchar(30) not null,
    command varchar(20) not null,
    syntax  varchar(255) not null,
    primary key (os, command)
);

insert into oper_systems (os, platform) values
    ('Linux', 'UNIX'),
    ('OpenBSD', 'UNIX'),
    ('Solaris', 'UNIX'),
    ('Windows 2003', 'WNT'),
    ('Windows 2008', 'Windows'),
    ('NetWare', 'NETWARE'),
    ('VMS', 'OpenVMS');

-- The client 0 is the server itself.
insert into clients (client_id, name, os, accessmode, access_options) values
    (0, 'localhost', 'Linux', 'CTRL', 'NULL'),
    (1, 'mars', 'Linux', 'C', '-p 11009'),
    (2, 'venus', 'Linux', 'RSH', 'NULL'),
    (3, 'jupiter', 'OpenBSD', 'SSH', 'NULL'),
    (4, 'saturn', 'OpenBSD', 'S', '-p 2222'),
    (5, 'uranus', 'Solaris', 'R', 'NULL'),
    (6, 'neptun', 'Windows 2003', 'CTRL', 'NULL'),
    (7, 'pluto', 'Windows 2008', 'SSH', 'NULL'),
    (8, 'ceres', 'NetWare', 'CTRL', 'NULL'),
    (9, 'pallas', 'VMS', 'CTRL', 'NULL'),
    (10, 'vesta', 'Linux', 'X25', 'NULL');

insert into syntaxes (os, command, syntax) values
    ('Linux', 'PS_CMD', 'ps -ewwo pid,ppid,user,args'),
    ('Linux', 'PS_PID', '1'),
    ('Linux', 'PS_PPID', '2'),
    ('OpenBSD', 'PS_CMD', 'ps -axwwo user,pid,ppid,command'),
    ('OpenBSD', 'PS_PID', '2'),
    ('OpenBSD', 'PS_PPID', '3'),
    ('Solaris', 'PS_CMD', 'ps -ef'),
    ('Solaris', 'PS_PID', '2'),
    ('Solaris', 'PS_PPID', '3'),
    ('NetWare', 'PS_CMD', 'BLANK'),
    ('NetWare', 'PS_PID', 'BLANK'),
    ('NetWare', 'PS_PPID', 'BLANK');
